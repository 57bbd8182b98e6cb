#include "Exchange.h"

#include <pthread.h>

#include <cstring>
#include <ctime>

namespace {

// Silence after the request (or after the last byte) that ends the wait.
constexpr long kSilenceMs = 1000;
// Upper bound for one answer even while bytes keep arriving (a babbling line).
constexpr long kAnswerCapMs = 3000;
// A read entry may hand back up to 996 bytes whatever length it is given
// (the TCP entry does), so every read has at least that much room.
constexpr int kReadRoom = 1000;
constexpr int kExceptionLength = 5;

// Ports whose last exchange was abandoned: a late answer may still arrive on
// them. Shared by every unit that the process polls, hence the lock. With
// each port the head of the abandoned request (address, function, the four
// fields after it) is kept, to tell whether a late answer would fit the next
// request as well.
constexpr int kTrackedPorts = 64;
constexpr int kHeadLength = 6;
pthread_mutex_t g_staleLock = PTHREAD_MUTEX_INITIALIZER;
const void* g_stalePorts[kTrackedPorts] = {};
unsigned char g_staleHeads[kTrackedPorts][kHeadLength] = {};

// Marks a port with the head of its abandoned request.
void markStale(const void* device, const unsigned char* head)
{
    pthread_mutex_lock(&g_staleLock);
    int slot = -1;
    for (int i = 0; i < kTrackedPorts && slot < 0; ++i) {
        if (g_stalePorts[i] == device)
            slot = i;
    }
    for (int i = 0; i < kTrackedPorts && slot < 0; ++i) {
        if (g_stalePorts[i] == nullptr)
            slot = i;
    }
    if (slot >= 0) {
        g_stalePorts[slot] = device;
        std::memcpy(g_staleHeads[slot], head, kHeadLength);
    }
    pthread_mutex_unlock(&g_staleLock);
}

// Clears a port's mark; true, with the abandoned request's head, when it was set.
bool takeStale(const void* device, unsigned char* head)
{
    pthread_mutex_lock(&g_staleLock);
    bool was = false;
    for (int i = 0; i < kTrackedPorts && !was; ++i) {
        if (g_stalePorts[i] == device) {
            was = true;
            g_stalePorts[i] = nullptr;
            std::memcpy(head, g_staleHeads[i], kHeadLength);
        }
    }
    pthread_mutex_unlock(&g_staleLock);
    return was;
}

constexpr long kDrainCapMs = 2000;

long nowMs()
{
    timespec ts = {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return long(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

void pauseMs(long ms)
{
    timespec ts = {0, ms * 1000000};
    nanosleep(&ts, nullptr);
}

} // namespace

Exchange::Exchange(PortHandle* port, const HelperTable& helpers, int address)
    : m_port(port), m_helpers(helpers), m_address(address)
{
}

Outcome Exchange::read(int function, int start, int count, unsigned char* data, int dataSize)
{
    unsigned char request[8];
    if (m_helpers.buildCmd(request, m_address, function, start, count) < 0)
        return Outcome::Silent;
    // The helper's expected length truncates for bit reads; the byte count
    // of a bit answer rounds up.
    const int byteCount = function == 2 ? (count + 7) / 8 : count * 2;
    if (byteCount > dataSize || byteCount + 5 > kMaxFrame)
        return Outcome::Silent;
    const Expectation expect = {function, byteCount + 5, nullptr, byteCount};
    unsigned char answer[kMaxFrame];
    const Outcome outcome = transact(request, int(sizeof(request)), expect, answer);
    if (outcome == Outcome::Ok)
        std::memcpy(data, answer + 3, size_t(byteCount));
    return outcome;
}

Outcome Exchange::writeSingle(int reg, int value)
{
    unsigned char request[8];
    if (m_helpers.setSingle(request, m_address, reg, value) != 0)
        return Outcome::Silent;
    const Expectation expect = {6, 8, request + 2, -1};
    unsigned char answer[kMaxFrame];
    // The unit echoes the request, register and value.
    return transact(request, int(sizeof(request)), expect, answer);
}

Outcome Exchange::writeMultiple(int start, int count, const unsigned char* data)
{
    unsigned char request[kMaxFrame];
    if (count < 1 || count * 2 + 9 > kMaxFrame)
        return Outcome::Silent;
    const int length = m_helpers.buildCmd16(request, m_address, start, count, count, data);
    if (length != count * 2 + 9)
        return Outcome::Silent;
    const Expectation expect = {16, 8, request + 2, -1};
    unsigned char answer[kMaxFrame];
    return transact(request, length, expect, answer);
}

Outcome Exchange::transact(unsigned char* request, int requestLength, const Expectation& expect,
                           unsigned char* answer)
{
    m_exception = 0;
    unsigned char abandoned[kHeadLength];
    if (takeStale(m_port->device, abandoned)) {
        drain();
        // Modbus TCP carries no transaction numbers here, so a late answer to
        // the same request, still on its way, would pass for this one's. A
        // request of a shape that nothing else uses gets the line back in
        // step first: a unit answers in order, so anything late comes before
        // its answer and is skipped.
        if (std::memcmp(abandoned, request, kHeadLength) == 0 && !resynchronise())
            return Outcome::Silent;
    }
    const Outcome outcome = exchange(request, requestLength, expect, answer);
    // A unit that did not answer in time may still answer late.
    if (outcome == Outcome::Silent)
        markStale(m_port->device, request);
    return outcome;
}

bool Exchange::resynchronise()
{
    // One holding register: no block, count or setting reads that shape.
    unsigned char probe[8];
    if (m_helpers.buildCmd(probe, m_address, 3, 0, 1) < 0)
        return false;
    const Expectation expect = {3, 7, nullptr, 2};
    unsigned char answer[kMaxFrame];
    if (exchange(probe, int(sizeof(probe)), expect, answer) == Outcome::Silent) {
        markStale(m_port->device, probe);
        return false;
    }
    m_exception = 0;
    return true;
}

void Exchange::drain()
{
    char scratch[kMaxFrame + kReadRoom];
    const long started = nowMs();
    int total = 0;
    while (nowMs() - started < kDrainCapMs && total < 64 * kReadRoom) {
        const int n = m_port->readEntry(m_port, scratch, int(sizeof(scratch)));
        if (n <= 0)
            return;
        total += n;
    }
}

Outcome Exchange::exchange(unsigned char* request, int requestLength, const Expectation& expect,
                           unsigned char* answer)
{
    char* out = reinterpret_cast<char*>(request);
    if (m_port->writeEntry(m_port, out, requestLength) != requestLength)
        return Outcome::Silent;

    unsigned char buffer[kMaxFrame + kReadRoom];
    int got = 0;
    const long started = nowMs();
    long lastProgress = started;
    for (;;) {
        const int n = m_port->readEntry(m_port, reinterpret_cast<char*>(buffer + got), int(sizeof(buffer)) - got);
        if (n < 0)
            return Outcome::Silent;
        const long now = nowMs();
        if (n > 0) {
            got += n;
            lastProgress = now;
            bool isException = false;
            const int at = findAnswer(buffer, got, expect, isException);
            if (at >= 0) {
                if (isException)
                    return Outcome::Exception;
                std::memcpy(answer, buffer + at, size_t(expect.length));
                return Outcome::Ok;
            }
            // Keep the tail that may still start a valid answer; drop the rest.
            if (got > kMaxFrame) {
                const int keep = expect.length - 1;
                std::memmove(buffer, buffer + got - keep, size_t(keep));
                got = keep;
            }
        } else {
            pauseMs(2);
        }
        if (now - lastProgress >= kSilenceMs || now - started >= kAnswerCapMs)
            return Outcome::Silent;
    }
}

int Exchange::findAnswer(const unsigned char* buffer, int got, const Expectation& expect, bool& isException)
{
    for (int at = 0; at + kExceptionLength <= got; ++at) {
        const unsigned char* frame = buffer + at;
        if (frame[0] != m_address)
            continue;
        if (frame[1] == (expect.function | 0x80)
                && m_helpers.checkCrc(const_cast<unsigned char*>(frame), kExceptionLength) == 0) {
            isException = true;
            m_exception = frame[2];
            return at;
        }
        if (frame[1] != expect.function || at + expect.length > got)
            continue;
        if (expect.byteCount >= 0 && frame[2] != expect.byteCount)
            continue;
        if (expect.echo != nullptr && std::memcmp(frame + 2, expect.echo, 4) != 0)
            continue;
        if (m_helpers.checkCrc(const_cast<unsigned char*>(frame), expect.length) == 0)
            return at;
    }
    return -1;
}
