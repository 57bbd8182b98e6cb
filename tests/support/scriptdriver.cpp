// A model driver library for tests: honours the Query/Control contract and
// answers what the test scripted through the script* entries.

#include "driverapi.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#define SCRIPT_EXPORT extern "C" __attribute__((visibility("default")))

namespace {
std::mutex g_lock;
int g_answer = 1;
int g_controlResult = 0;
std::map<int, float> g_points;
std::vector<std::string> g_commands;
int g_queries = 0;
void* g_lastContext = nullptr;
void* g_lastDevice = nullptr;
int g_lastAddress = 0;

void note(PortHandle* port, int address, void* context)
{
    g_lastContext = context;
    g_lastDevice = port ? port->device : nullptr;
    g_lastAddress = address;
}
} // namespace

SCRIPT_EXPORT int Query(PortHandle* port, int address, DataCallback callback, void* context)
{
    std::map<int, float> points;
    int answer = 0;
    {
        std::lock_guard<std::mutex> guard(g_lock);
        ++g_queries;
        note(port, address, context);
        answer = g_answer;
        if (answer != 0)
            points = g_points;
    }
    for (const auto& point : points)
        callback(point.first, point.second, context);
    return answer;
}

SCRIPT_EXPORT int Control(PortHandle* port, int address, const char* command, void* context)
{
    std::lock_guard<std::mutex> guard(g_lock);
    note(port, address, context);
    g_commands.emplace_back(command);
    return g_controlResult;
}

SCRIPT_EXPORT void scriptReset()
{
    std::lock_guard<std::mutex> guard(g_lock);
    g_answer = 1;
    g_controlResult = 0;
    g_points.clear();
    g_commands.clear();
    g_queries = 0;
    note(nullptr, 0, nullptr);
}

SCRIPT_EXPORT void scriptSetAnswer(int answer) { std::lock_guard<std::mutex> guard(g_lock); g_answer = answer; }
SCRIPT_EXPORT void scriptSetControlResult(int result) { std::lock_guard<std::mutex> guard(g_lock); g_controlResult = result; }
SCRIPT_EXPORT void scriptSetPoint(int id, float value) { std::lock_guard<std::mutex> guard(g_lock); g_points[id] = value; }
SCRIPT_EXPORT int scriptQueryCount() { std::lock_guard<std::mutex> guard(g_lock); return g_queries; }
SCRIPT_EXPORT void* scriptLastContext() { std::lock_guard<std::mutex> guard(g_lock); return g_lastContext; }
SCRIPT_EXPORT void* scriptLastDevice() { std::lock_guard<std::mutex> guard(g_lock); return g_lastDevice; }
SCRIPT_EXPORT int scriptLastAddress() { std::lock_guard<std::mutex> guard(g_lock); return g_lastAddress; }

// The commands sent so far, each followed by a line feed, cut to `size`.
SCRIPT_EXPORT int scriptCommands(char* out, int size)
{
    std::lock_guard<std::mutex> guard(g_lock);
    std::string all;
    for (const std::string& command : g_commands)
        all += command + '\n';
    const size_t n = std::min(all.size(), size_t(std::max(size - 1, 0)));
    std::memcpy(out, all.data(), n);
    out[n] = '\0';
    return int(n);
}
