#ifndef STATETEXTS_H
#define STATETEXTS_H

// The state codes a unit reports for its battery (point 4101) and its
// output (point 4161), and the wording of each code wherever it is shown:
// the parameter pages use the unit's full names, the data log short ones.
// Row i names code i.

#include <cstddef>

struct StateText
{
    const char* page;    // parameter pages, context "vek5_10_30k_View"
    const char* dataLog; // data-log column, context "vek5Font"; null: the log has no name for it
};

namespace StateTexts {

enum BatteryState {
    BatteryDisconnected,
    BatteryStandby,
    BatteryEqualizedCharge,
    BatteryFloatCharge,
    BatteryDischarging,
    BatteryVoltageEqualizedCharge,
};

extern const StateText battery[];
extern const std::size_t batteryCount;

extern const StateText output[];
extern const std::size_t outputCount;

} // namespace StateTexts

#endif // STATETEXTS_H
