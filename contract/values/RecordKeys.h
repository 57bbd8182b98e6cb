#ifndef RECORDKEYS_H
#define RECORDKEYS_H

// Keys of the records that travel through postDEvent, and of the device
// information map the collector fills for the host. The texts are what hosts
// read; they never change.

namespace RecordKey {

// Common to every record of the collector's cycle.
constexpr char Name[] = "name";            // QString: the device name
constexpr char Protocol[] = "protocol";    // int
constexpr char Lost[] = "lost";            // int: 1 in a 1041, 0 in a report
constexpr char Port[] = "port";            // QString: the configured port name
constexpr char TimeStr[] = "timeStr";      // QString: "yyyy-MM-dd hh:mm:ss"

constexpr char Desc[] = "desc";            // QString: the event in words
constexpr char State[] = "state";          // int: communication state, 0 or 1
constexpr char AlarmId[] = "alarmId";      // int: index i raised, half the catalogue + i cleared
constexpr char AlarmState[] = "alarmState";// int: the new state of an alarm or status point
constexpr char DisAlarm[] = "dis_alarm";   // int 1: a report in which alarms appeared
constexpr char Data[] = "data";            // QMap<int,QVariant>: the whole data map
constexpr char Result[] = "result";        // int: a command result

// Command requests and results.
constexpr char ControlId[] = "controlId";        // int: the command id
constexpr char ControlValue[] = "controlValue";  // QString: its argument
constexpr char NodeName[] = "nodeName";          // QString: the setting's label
constexpr char NodeValue[] = "nodeValue";        // the value as entered

} // namespace RecordKey

namespace InfoKey {

// The device information map (CollectThread::flushUpsInfo); besides these,
// every data point under its decimal id.
constexpr char Manufacturer[] = "IdentManufacturer";
constexpr char Name[] = "name";
constexpr char Model[] = "upsIdentModel";
constexpr char PortInfo[] = "portInfo";
constexpr char State[] = "state";
constexpr char Address[] = "upsAddr";
constexpr char Load[] = "upsLoad";

} // namespace InfoKey

#endif // RECORDKEYS_H
