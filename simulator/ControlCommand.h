#ifndef CONTROLCOMMAND_H
#define CONTROLCOMMAND_H

// One line of the simulator's control channel, parsed without touching any
// unit, so that the grammar can be checked on its own:
//
//   mains UNIT on|off          bypass UNIT on|off
//   fault UNIT INDEX on|off    (alarm index 0-511)
//   load UNIT PERCENT          (0-200)
//   battery UNIT PERCENT       (0-100)
//   silent UNIT SECONDS        garble UNIT SECONDS   (0 ends it early)
//   halve UNIT SECONDS         disconnect UNIT
//   scenario UNIT NAME|FILE    get UNIT POINT        list
//
// UNIT is an address 1-247 or "all".

#include <string>

struct ControlCommand
{
    enum Verb { Mains, Bypass, Fault, Load, Battery, Silent, Garble, Halve, Disconnect, Scenario, Get, List };
    static constexpr int kAllUnits = 0;

    Verb verb = List;
    int unit = kAllUnits;
    int index = 0;          // fault: alarm index; get: point id
    bool on = false;        // mains, bypass, fault
    double amount = 0;      // load, battery: percent; silent, garble, halve: seconds
    std::string name;       // scenario: name or file

    // False with `error` set to the reason when `line` is not a command.
    static bool parse(const std::string& line, ControlCommand& command, std::string& error);
};

#endif // CONTROLCOMMAND_H
