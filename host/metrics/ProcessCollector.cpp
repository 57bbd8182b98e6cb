#include "ProcessCollector.h"

#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <sstream>
#include <vector>

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

namespace {

std::string readFile(const char* path)
{
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void add(std::vector<MetricFamily>* out, const char* name, const char* help, double value,
         MetricType type = MetricType::Gauge)
{
    MetricFamily f;
    f.name = name;
    f.help = help;
    f.type = type;
    ClientMetric m;
    if (type == MetricType::Counter)
        m.counter.value = value;
    else
        m.gauge.value = value;
    f.metric.push_back(m);
    out->push_back(std::move(f));
}

double openFds()
{
    DIR* dir = opendir("/proc/self/fd");
    if (!dir)
        return 0;
    double n = 0;
    while (const dirent* e = readdir(dir))
        n += e->d_name[0] != '.';
    closedir(dir);
    return n - 1;   // the directory stream's own descriptor
}

struct Stat
{
    double cpuSeconds = 0;       // user + system
    double startSinceBoot = 0;   // seconds after boot
    double virtualBytes = 0;
    double residentBytes = 0;
    double threads = 0;
};

bool parseStat(const std::string& text, long ticksPerSecond, long pageSize, Stat* out)
{
    // "pid (comm) state ppid ...": comm may hold spaces and parentheses, so
    // the fields are counted from the last ')'; field 3 (state) comes first.
    const std::size_t close = text.rfind(')');
    if (close == std::string::npos || ticksPerSecond <= 0)
        return false;
    std::istringstream in(text.substr(close + 1));
    std::vector<std::string> fields{std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
    if (fields.size() < 22)
        return false;
    const auto field = [&fields](int n) { return std::strtod(fields[std::size_t(n - 3)].c_str(), nullptr); };
    out->cpuSeconds = (field(14) + field(15)) / double(ticksPerSecond);
    out->threads = field(20);
    out->startSinceBoot = field(22) / double(ticksPerSecond);
    out->virtualBytes = field(23);
    out->residentBytes = field(24) * double(pageSize);
    return true;
}

} // namespace

ProcessCollector::ProcessCollector()
{
    std::istringstream in(readFile("/proc/stat"));
    std::string key;
    while (in >> key) {
        if (key == "btime") {
            in >> m_bootTime;
            break;
        }
        in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
}

std::vector<MetricFamily> ProcessCollector::Collect() const
{
    std::vector<MetricFamily> out;
    Stat s;
    if (parseStat(readFile("/proc/self/stat"), sysconf(_SC_CLK_TCK), sysconf(_SC_PAGESIZE), &s)) {
        add(&out, "process_cpu_seconds_total", "Total user and system CPU time spent in seconds.",
            s.cpuSeconds, MetricType::Counter);
        add(&out, "process_resident_memory_bytes", "Resident memory size in bytes.", s.residentBytes);
        add(&out, "process_virtual_memory_bytes", "Virtual memory size in bytes.", s.virtualBytes);
        add(&out, "process_start_time_seconds", "Start time of the process since unix epoch in seconds.",
            m_bootTime + s.startSinceBoot);
        add(&out, "process_threads", "Number of OS threads in the process.", s.threads);
    }
    add(&out, "process_open_fds", "Number of open file descriptors.", openFds());
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY)
        add(&out, "process_max_fds", "Maximum number of open file descriptors.", double(limit.rlim_cur));
    return out;
}
