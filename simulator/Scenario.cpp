#include "Scenario.h"

#include "UpsModel.h"

#include <cmath>
#include <fstream>
#include <sstream>

namespace {

bool isNumber(const std::string& text, double& value)
{
    std::istringstream in(text);
    in >> value;
    return !in.fail() && in.eof() && std::isfinite(value);
}

bool onOff(const std::string& text)
{
    return text == "on" || text == "off";
}

} // namespace

bool Scenario::load(const std::string& nameOrPath, const std::string& directory, std::string& error)
{
    const bool isPath = nameOrPath.find('/') != std::string::npos
            || (nameOrPath.size() > 4 && nameOrPath.compare(nameOrPath.size() - 4, 4, ".scn") == 0);
    const std::string path = isPath ? nameOrPath : directory + "/" + nameOrPath + ".scn";
    std::ifstream file(path);
    if (!file) {
        error = isPath ? "cannot read scenario file " + path : "unknown scenario: " + nameOrPath;
        return false;
    }
    std::stringstream text;
    text << file.rdbuf();
    if (!parse(text.str(), error)) {
        error = path + ": " + error;
        return false;
    }
    return true;
}

bool Scenario::parse(const std::string& text, std::string& error)
{
    m_steps.clear();
    m_period = 0;
    std::istringstream lines(text);
    std::string line;
    int number = 0;
    while (std::getline(lines, line)) {
        ++number;
        const std::string where = "line " + std::to_string(number) + ": ";
        const size_t hash = line.find('#');
        if (hash != std::string::npos)
            line.erase(hash);
        std::istringstream words(line);
        std::vector<std::string> w;
        for (std::string word; words >> word;)
            w.push_back(word);
        if (w.empty())
            continue;
        double value = 0;
        if (w[0] == "repeat" && w.size() == 2 && isNumber(w[1], value) && value > 0) {
            m_period = value;
            continue;
        }
        if (w[0] != "at" || w.size() < 3 || !isNumber(w[1], value) || value < 0) {
            error = where + "expected \"at SECONDS ACTION ...\" or \"repeat SECONDS\"";
            return false;
        }
        Step step = {value, w[2], w.size() > 3 ? w[3] : "", w.size() > 4 ? w[4] : ""};
        const size_t args = w.size() - 3;
        double number2 = 0;
        bool ok = false;
        if (step.action == "mains" || step.action == "bypass")
            ok = args == 1 && onOff(step.argument);
        else if (step.action == "load" || step.action == "battery")
            ok = args == 1 && isNumber(step.argument, number2) && number2 >= 0;
        else if (step.action == "silence")
            ok = args == 1 && isNumber(step.argument, number2) && number2 > 0;
        else if (step.action == "fault")
            ok = args == 2 && isNumber(step.argument, number2) && number2 >= 0 && number2 < 512
                    && std::floor(number2) == number2 && onOff(step.state);
        else if (step.action == "transfer")
            ok = args == 1 && (step.argument == "bypass" || step.argument == "inverter");
        if (!ok) {
            error = where + "bad action \"" + line + "\"";
            return false;
        }
        m_steps.push_back(step);
    }
    return true;
}

void Scenario::apply(double from, double to, UpsModel& unit) const
{
    for (const Step& step : m_steps) {
        if (m_period <= 0) {
            if (step.at > from && step.at <= to)
                run(step, unit);
            continue;
        }
        // Every occurrence of the step in (from, to].
        for (double k = std::floor((from - step.at) / m_period) + 1; step.at + k * m_period <= to; ++k)
            if (step.at + k * m_period > from && k >= 0)
                run(step, unit);
    }
}

void Scenario::run(const Step& step, UpsModel& unit) const
{
    const double value = std::atof(step.argument.c_str());
    if (step.action == "mains")
        unit.setMains(step.argument == "on");
    else if (step.action == "bypass")
        unit.setBypass(step.argument == "on");
    else if (step.action == "load")
        unit.setLoad(value);
    else if (step.action == "battery")
        unit.setCharge(value);
    else if (step.action == "fault")
        unit.setFault(int(value), step.state == "on");
    else if (step.action == "silence")
        unit.silence(value);
    else if (step.action == "transfer")
        unit.transfer(step.argument == "bypass");
}
