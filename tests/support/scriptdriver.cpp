// A model driver library answering what the test scripted through the script* entries.

#include "driverapi.h"

#include <mutex>
#include <string>
#include <vector>

#define SCRIPT_EXPORT extern "C" __attribute__((visibility("default")))

namespace {
std::mutex g_lock;
int g_answer = 1;
std::vector<std::string> g_commands;
int g_queries = 0;
int g_lastAddress = 0;
} // namespace

SCRIPT_EXPORT int Query(PortHandle*, int address, DataCallback, void*)
{
    std::lock_guard<std::mutex> guard(g_lock);
    ++g_queries;
    g_lastAddress = address;
    return g_answer;
}

SCRIPT_EXPORT int Control(PortHandle*, int address, const char* command, void*)
{
    std::lock_guard<std::mutex> guard(g_lock);
    g_lastAddress = address;
    g_commands.emplace_back(command);
    return 0;
}

SCRIPT_EXPORT void scriptReset()
{
    std::lock_guard<std::mutex> guard(g_lock);
    g_answer = 1;
    g_commands.clear();
    g_queries = 0;
    g_lastAddress = 0;
}

SCRIPT_EXPORT void scriptSetAnswer(int answer) { std::lock_guard<std::mutex> guard(g_lock); g_answer = answer; }
SCRIPT_EXPORT int scriptQueryCount() { std::lock_guard<std::mutex> guard(g_lock); return g_queries; }
SCRIPT_EXPORT int scriptLastAddress() { std::lock_guard<std::mutex> guard(g_lock); return g_lastAddress; }

// The commands sent so far, each followed by a line feed; valid until the next call.
SCRIPT_EXPORT const char* scriptCommands()
{
    std::lock_guard<std::mutex> guard(g_lock);
    static std::string all;
    all.clear();
    for (const std::string& command : g_commands)
        all += command + '\n';
    return all.c_str();
}
