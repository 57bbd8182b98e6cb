// A model driver library for tests: honours the Query/Control contract and
// answers what the test scripted through the script* entries.

#include "driverapi.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#define SCRIPT_EXPORT __attribute__((visibility("default")))

namespace {

struct Script
{
    std::mutex lock;
    int answer = 1;
    int controlResult = 0;
    std::map<int, float> points;
    std::vector<std::string> commands;
    int queries = 0;
    void* lastContext = nullptr;
    void* lastDevice = nullptr;
    int lastAddress = 0;
};

Script& script()
{
    static Script s;
    return s;
}

} // namespace

extern "C" {

SCRIPT_EXPORT int Query(PortHandle* port, int address, DataCallback callback, void* context)
{
    Script& s = script();
    std::map<int, float> points;
    int answer = 0;
    {
        std::lock_guard<std::mutex> guard(s.lock);
        ++s.queries;
        s.lastContext = context;
        s.lastDevice = port ? port->device : nullptr;
        s.lastAddress = address;
        answer = s.answer;
        if (answer != 0)
            points = s.points;
    }
    for (const auto& point : points)
        callback(point.first, point.second, context);
    return answer;
}

SCRIPT_EXPORT int Control(PortHandle* port, int address, const char* command, void* context)
{
    Script& s = script();
    std::lock_guard<std::mutex> guard(s.lock);
    s.lastContext = context;
    s.lastDevice = port ? port->device : nullptr;
    s.lastAddress = address;
    s.commands.emplace_back(command);
    return s.controlResult;
}

SCRIPT_EXPORT void scriptReset()
{
    Script& s = script();
    std::lock_guard<std::mutex> guard(s.lock);
    s.answer = 1;
    s.controlResult = 0;
    s.points.clear();
    s.commands.clear();
    s.queries = 0;
    s.lastContext = nullptr;
    s.lastDevice = nullptr;
    s.lastAddress = 0;
}

SCRIPT_EXPORT void scriptSetAnswer(int answer)
{
    std::lock_guard<std::mutex> guard(script().lock);
    script().answer = answer;
}

SCRIPT_EXPORT void scriptSetControlResult(int result)
{
    std::lock_guard<std::mutex> guard(script().lock);
    script().controlResult = result;
}

SCRIPT_EXPORT void scriptSetPoint(int id, float value)
{
    std::lock_guard<std::mutex> guard(script().lock);
    script().points[id] = value;
}

SCRIPT_EXPORT int scriptQueryCount()
{
    std::lock_guard<std::mutex> guard(script().lock);
    return script().queries;
}

SCRIPT_EXPORT int scriptCommandCount()
{
    std::lock_guard<std::mutex> guard(script().lock);
    return static_cast<int>(script().commands.size());
}

// Copies command `index` (NUL-terminated, cut to `size`); -1 when there is none.
SCRIPT_EXPORT int scriptCommand(int index, char* out, int size)
{
    std::lock_guard<std::mutex> guard(script().lock);
    const auto& commands = script().commands;
    if (index < 0 || index >= static_cast<int>(commands.size()) || size <= 0)
        return -1;
    const std::string& text = commands[static_cast<size_t>(index)];
    const size_t n = std::min(text.size(), static_cast<size_t>(size - 1));
    std::memcpy(out, text.data(), n);
    out[n] = '\0';
    return static_cast<int>(n);
}

SCRIPT_EXPORT void* scriptLastContext()
{
    std::lock_guard<std::mutex> guard(script().lock);
    return script().lastContext;
}

SCRIPT_EXPORT void* scriptLastDevice()
{
    std::lock_guard<std::mutex> guard(script().lock);
    return script().lastDevice;
}

SCRIPT_EXPORT int scriptLastAddress()
{
    std::lock_guard<std::mutex> guard(script().lock);
    return script().lastAddress;
}

} // extern "C"
