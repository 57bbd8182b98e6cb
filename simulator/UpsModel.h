#ifndef UPSMODEL_H
#define UPSMODEL_H

// One simulated 20 kVA three-phase online UPS: its electrical state, alarms,
// settings and event history, mirrored into a libmodbus register mapping laid
// out by the shared register map.

#include <modbus/modbus.h>

#include <random>
#include <set>
#include <string>
#include <vector>

class UpsModel
{
public:
    explicit UpsModel(int unitId);
    ~UpsModel();
    UpsModel(const UpsModel&) = delete;
    UpsModel& operator=(const UpsModel&) = delete;

    bool valid() const { return m_map != nullptr; }
    int unitId() const { return m_unit; }
    modbus_mapping_t* mapping() { return m_map; }

    // Advances the model by `seconds` of simulated time (0 only refreshes).
    void advance(double seconds);

    // Checks a write request before it is applied: 0 when it may go ahead,
    // otherwise the Modbus exception code to answer with. For the command
    // registers this also carries the command out.
    int beforeWrite(int address, int count, const unsigned char* values);
    // Takes over the registers that a write has just changed.
    void afterWrite(int address, int count);

    // Scenario actions.
    void setMains(bool ok);
    void setBypass(bool ok);
    void setLoad(double percent);
    void setCharge(double percent);
    void setFault(int alarm, bool active);
    void silence(double seconds);
    bool transfer(bool toBypass);

    // Silenced by a scenario step.
    bool silent() const { return m_time < m_silentUntil; }

    // The value the driver reads for `point` (false when the map has no such
    // point): bits as 0/1, numbers scaled, texts and dates one byte each.
    bool pointValue(int point, double& value) const;

    // One line describing the discrete state; changes when something a
    // person would notice changes. `answering` tells how the unit's link
    // behaves, which the server decides ("not answering"; empty when well).
    std::string statusLine(const std::string& answering) const;

private:
    struct HistoryRecord { int code; int state; unsigned char stamp[6]; };

    int command(int code, int argument);
    void refresh();
    void updateAlarms();
    void setAlarm(int alarm, bool active);
    void setPoint(int point, double value);
    void setBytes(int point, const std::string& bytes);
    double setting(int point) const;
    unsigned short* tableOf(int table) const;
    void clockStamp(unsigned char out[6]) const;
    double noise(double amplitude);
    bool onBattery() const;

    int m_unit;
    modbus_mapping_t* m_map = nullptr;
    std::mt19937 m_random;

    double m_time = 0;          // simulated seconds since start
    long m_clockOffset = 0;     // unit clock minus the wall clock (seconds)
    bool m_mainsOk = true;
    bool m_bypassOk = true;
    bool m_inverterOn = true;
    bool m_outputOn = true;
    bool m_onBypass = false;
    bool m_overloadTransfer = false;
    bool m_eodStop = false;     // stopped at end of discharge, restarts with the mains
    bool m_buzzer = true;
    double m_load = 45;         // percent of rated power
    double m_charge = 100;      // percent
    int m_batteryTest = 0;      // 0 none, 1 testing, 2 maintenance (discharge to low)
    double m_testLeft = 0;
    double m_overloadFor = 0;
    double m_silentUntil = 0;
    std::set<int> m_faults;     // alarms raised by scenario faults
    std::set<int> m_alarms;     // alarms currently active
    std::vector<HistoryRecord> m_history;
};

#endif // UPSMODEL_H
