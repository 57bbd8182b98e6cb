#include "ControlCommand.h"

#include <cmath>
#include <sstream>
#include <vector>

namespace {

// Arguments after the unit that each verb takes.
struct Grammar { const char* word; ControlCommand::Verb verb; int arguments; const char* usage; };
constexpr Grammar kGrammar[] = {
    {"mains", ControlCommand::Mains, 1, "mains UNIT on|off"},
    {"bypass", ControlCommand::Bypass, 1, "bypass UNIT on|off"},
    {"fault", ControlCommand::Fault, 2, "fault UNIT INDEX on|off"},
    {"load", ControlCommand::Load, 1, "load UNIT PERCENT"},
    {"battery", ControlCommand::Battery, 1, "battery UNIT PERCENT"},
    {"silent", ControlCommand::Silent, 1, "silent UNIT SECONDS"},
    {"garble", ControlCommand::Garble, 1, "garble UNIT SECONDS"},
    {"halve", ControlCommand::Halve, 1, "halve UNIT SECONDS"},
    {"disconnect", ControlCommand::Disconnect, 0, "disconnect UNIT"},
    {"scenario", ControlCommand::Scenario, 1, "scenario UNIT NAME|FILE"},
    {"get", ControlCommand::Get, 1, "get UNIT POINT"},
    {"list", ControlCommand::List, -1, "list"},
};

bool toNumber(const std::string& text, double low, double high, double& value)
{
    std::istringstream in(text);
    in >> value;
    return !in.fail() && in.eof() && std::isfinite(value) && value >= low && value <= high;
}

bool toInteger(const std::string& text, int low, int high, int& value)
{
    double number = 0;
    if (!toNumber(text, low, high, number) || std::floor(number) != number)
        return false;
    value = int(number);
    return true;
}

bool toSwitch(const std::string& text, bool& on)
{
    on = text == "on";
    return on || text == "off";
}

} // namespace

bool ControlCommand::parse(const std::string& line, ControlCommand& command, std::string& error)
{
    std::istringstream in(line);
    std::vector<std::string> w;
    for (std::string word; in >> word;)
        w.push_back(word);
    if (w.empty()) {
        error = "empty command";
        return false;
    }
    const Grammar* grammar = nullptr;
    for (const Grammar& g : kGrammar)
        if (w[0] == g.word)
            grammar = &g;
    if (grammar == nullptr) {
        error = "unknown command \"" + w[0] + "\"";
        return false;
    }
    command = ControlCommand();
    command.verb = grammar->verb;
    const size_t expected = grammar->arguments < 0 ? 1 : size_t(grammar->arguments) + 2;
    if (w.size() != expected) {
        error = std::string("usage: ") + grammar->usage;
        return false;
    }
    if (command.verb == List)
        return true;
    if (w[1] != "all" && !toInteger(w[1], 1, 247, command.unit)) {
        error = "bad unit \"" + w[1] + "\" (1-247 or all)";
        return false;
    }
    const std::string a = w.size() > 2 ? w[2] : std::string();
    bool ok = true;
    switch (command.verb) {
    case Mains:
    case Bypass:
        ok = toSwitch(a, command.on);
        break;
    case Fault:
        if (!toInteger(a, 0, 511, command.index)) {
            error = "bad alarm index \"" + a + "\" (0-511)";
            return false;
        }
        ok = toSwitch(w[3], command.on);
        break;
    case Load:
        ok = toNumber(a, 0, 200, command.amount);
        break;
    case Battery:
        ok = toNumber(a, 0, 100, command.amount);
        break;
    case Silent:
    case Garble:
    case Halve:
        ok = toNumber(a, 0, 86400, command.amount);
        break;
    case Scenario:
        command.name = a;
        break;
    case Get:
        ok = toInteger(a, 0, 65535, command.index);
        break;
    case Disconnect:
    case List:
        break;
    }
    if (!ok)
        error = "bad value \"" + w.back() + "\"; usage: " + grammar->usage;
    return ok;
}
