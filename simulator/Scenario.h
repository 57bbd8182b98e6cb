#ifndef SCENARIO_H
#define SCENARIO_H

// A timeline of events applied to every simulated unit, read from a small
// text file (simulator/scenarios/*.scn):
//
//   # comment
//   at SECONDS ACTION [ARGUMENTS]
//   repeat SECONDS            (start the timeline again after SECONDS)
//
// Actions: mains on|off, bypass on|off, load PERCENT, battery PERCENT,
// fault ALARM on|off (ALARM = point id - 2000), silence SECONDS,
// transfer bypass|inverter.

#include <string>
#include <vector>

class UpsModel;

class Scenario
{
public:
    // `nameOrPath` is a file path, or the name of a file NAME.scn in
    // `directory`. False with `error` set when it cannot be used.
    bool load(const std::string& nameOrPath, const std::string& directory, std::string& error);
    bool parse(const std::string& text, std::string& error);

    // Applies the steps whose time lies in (from, to] to `unit`.
    void apply(double from, double to, UpsModel& unit) const;

    int stepCount() const { return int(m_steps.size()); }

private:
    struct Step {
        double at;
        std::string action;
        std::string argument;
        std::string state;
    };
    void run(const Step& step, UpsModel& unit) const;

    std::vector<Step> m_steps;
    double m_period = 0;   // 0: the timeline runs once
};

#endif // SCENARIO_H
