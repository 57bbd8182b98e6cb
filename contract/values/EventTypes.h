#ifndef EVENTTYPES_H
#define EVENTTYPES_H

// Event types, the `type` argument of postDEvent. A view's command request
// uses the command id itself as its type (UpsCommand).

namespace EventType {

constexpr int SettingRequest = 1029;   // setting dialog: a parameter value to send
constexpr int CommRestored = 1040;     // first answer after the start or after a loss
constexpr int CommLost = 1041;         // the retry limit reached without an answer
constexpr int CommandResult = 1042;    // the history download has run
constexpr int AlarmNotice = 2001;      // repeats 1040/1041; closes a report with new alarms
constexpr int AlarmChange = 2006;      // one alarm point changed its state
constexpr int DataReport = 2007;       // every report: the whole data map
constexpr int StatusPoint2368 = 2009;  // point 2368 changed
constexpr int StatusPoint2022 = 2010;  // point 2022 changed

} // namespace EventType

#endif // EVENTTYPES_H
