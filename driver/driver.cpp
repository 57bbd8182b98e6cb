// Model driver library for the 10-30 kVA three-phase range: "Query" reads the
// whole register map, "Control" sends commands and settings, and downloads
// the event history to "./history.txt".

#include "Exchange.h"
#include "HelperTable.h"
#include "driverapi.h"
#include "registermap.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define DRIVER_EXPORT __attribute__((visibility("default")))

namespace {

using namespace regmap;

constexpr int kAcknowledged = 0;
constexpr int kRefused = 1;
constexpr int kMaxCommandText = 63;   // the caller sends at most 49 characters

// Driver codes that go to the unit's command register. 20 (history download)
// is handled here: it only reads.
constexpr int kUnitCommands[] = {0, 2, 3, 4, 7, 9, 10, 11, 12, 13, 17, 18};
constexpr int kDownloadHistory = 20;

bool usablePort(const PortHandle* port, int address)
{
    return port != nullptr && port->readEntry != nullptr && port->writeEntry != nullptr
            && address >= 1 && address <= 247;
}

bool isUnitCommand(int code)
{
    for (int c : kUnitCommands)
        if (c == code)
            return true;
    return false;
}

// Whole-text decimal integer in [low, high].
bool parseInt(const char* text, long low, long high, long& value)
{
    if (text == nullptr || *text == '\0')
        return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtol(text, &end, 10);
    return errno == 0 && end != text && *end == '\0' && value >= low && value <= high;
}

int blockBytes(const Block& b)
{
    return b.table == DiscreteInputs ? (b.count + 7) / 8 : b.count * 2;
}

constexpr int kLargestBlockBytes = 2 * kMaxReadRegisters;

// Hands every point of `field` to the callback, from the data of its block.
void deliver(const Field& field, const Block& block, const unsigned char* data, const HelperTable& h,
             DataCallback callback, void* context)
{
    const int offset = field.address - block.start;
    for (int i = 0; i < field.points; ++i) {
        float value = 0;
        switch (field.encoding) {
        case Bits: {
            const int bit = offset + i;
            value = float((data[bit / 8] >> (bit % 8)) & 1);
            break;
        }
        case Number: {
            const short raw = static_cast<short>(h.toUint16(data + 2 * (offset + i)));
            value = float(raw) / float(field.divisor);
            break;
        }
        case Text:
        case Date:
            value = float(data[2 * offset + i]);
            break;
        }
        callback(field.point + i, value, context);
    }
}

// Packs `bytes` (count of them) into a field's registers, zero-padded.
void packBytes(const unsigned char* bytes, int count, const Field& field, unsigned char* out)
{
    const int total = fieldWidth(field) * 2;
    std::memset(out, 0, size_t(total));
    std::memcpy(out, bytes, size_t(count < total ? count : total));
}

int writeSetting(Exchange& link, int point, const char* value)
{
    const Field* field = findField(point);
    if (field == nullptr || field->table != HoldingRegisters)
        return kRefused;
    unsigned char bytes[2 * kMaxReadRegisters];
    int count = 0;
    switch (field->encoding) {
    case Number: {
        long raw = 0;
        if (!parseInt(value, -32768, 65535, raw))
            return kRefused;
        const int reg = field->address + (point - field->point);
        return link.writeSingle(reg, int(raw)) == Outcome::Ok ? kAcknowledged : kRefused;
    }
    case Text:
        count = int(std::strlen(value));
        if (point != field->point || count > field->points)
            return kRefused;
        std::memcpy(bytes, value, size_t(count));
        break;
    case Date: {
        // "yy,MM,dd,hh,mm,ss"
        if (point != field->point)
            return kRefused;
        char copy[kMaxCommandText + 1];
        std::snprintf(copy, sizeof(copy), "%s", value);
        char* save = nullptr;
        for (char* part = strtok_r(copy, ",", &save); part != nullptr; part = strtok_r(nullptr, ",", &save)) {
            long number = 0;
            if (count == field->points || !parseInt(part, 0, 255, number))
                return kRefused;
            bytes[count++] = static_cast<unsigned char>(number);
        }
        if (count != field->points)
            return kRefused;
        break;
    }
    case Bits:
        return kRefused;
    }
    unsigned char registers[2 * kMaxReadRegisters];
    packBytes(bytes, count, *field, registers);
    return link.writeMultiple(field->address, fieldWidth(*field), registers) == Outcome::Ok ? kAcknowledged
                                                                                             : kRefused;
}

int sendCommand(Exchange& link, int code, const char* argument)
{
    long value = 0;
    if (*argument != '\0' && !parseInt(argument, 0, 65535, value))
        return kRefused;
    const unsigned char registers[2 * kCommandRegisters] = {
        0, static_cast<unsigned char>(code),
        static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value & 0xFF)};
    return link.writeMultiple(kCommandRegister, kCommandRegisters, registers) == Outcome::Ok ? kAcknowledged
                                                                                            : kRefused;
}

// Reads the unit's event history and writes it, one event a line, as
// "code state yy MM dd hh mm ss" to "./history.txt".
int downloadHistory(Exchange& link, const HelperTable& h)
{
    unsigned char countData[2];
    if (link.read(InputRegisters, kHistoryCountRegister, 1, countData, int(sizeof(countData))) != Outcome::Ok)
        return kRefused;
    const int records = h.toUint16(countData);
    if (records > kHistoryMaxRecords)
        return kRefused;
    constexpr int kRecordBytes = 2 * kHistoryRecordRegisters;
    unsigned char history[kHistoryMaxRecords * kRecordBytes];
    for (int first = 0; first < records; first += kHistoryRecordsPerRead) {
        const int n = records - first < kHistoryRecordsPerRead ? records - first : kHistoryRecordsPerRead;
        if (link.read(InputRegisters, kHistoryFirstRegister + first * kHistoryRecordRegisters,
                      n * kHistoryRecordRegisters, history + first * kRecordBytes, n * kRecordBytes)
                != Outcome::Ok)
            return kRefused;
    }
    FILE* file = std::fopen("./history.txt", "w");
    if (file == nullptr)
        return kRefused;
    for (int i = 0; i < records; ++i) {
        const unsigned char* r = history + i * kRecordBytes;
        std::fprintf(file, "%d %d %02d %02d %02d %02d %02d %02d\n", h.toUint16(r), h.toUint16(r + 2),
                     r[4], r[5], r[6], r[7], r[8], r[9]);
    }
    return std::fclose(file) == 0 ? kAcknowledged : kRefused;
}

} // namespace

extern "C" {

DRIVER_EXPORT int Query(PortHandle* port, int address, DataCallback callback, void* context)
{
    if (!usablePort(port, address) || callback == nullptr)
        return 0;
    HelperTable helpers;
    if (!helpers.resolve(reinterpret_cast<const void*>(callback))
            && !helpers.resolve(reinterpret_cast<const void*>(port->readEntry)))
        return 0;
    Exchange link(port, helpers, address);

    // All blocks first: a query that fails half-way delivers nothing.
    unsigned char data[kBlockCount][kLargestBlockBytes];
    for (int b = 0; b < kBlockCount; ++b) {
        const Block& block = kBlocks[b];
        if (link.read(block.table, block.start, block.count, data[b], blockBytes(block)) != Outcome::Ok)
            return 0;
    }
    for (const Field& field : kFields) {
        for (int b = 0; b < kBlockCount; ++b) {
            const Block& block = kBlocks[b];
            if (block.table == field.table && field.address >= block.start
                    && field.address + fieldWidth(field) <= block.start + block.count) {
                deliver(field, block, data[b], helpers, callback, context);
                break;
            }
        }
    }
    return 1;
}

DRIVER_EXPORT int Control(PortHandle* port, int address, const char* command, void* context)
{
    (void)context;
    if (!usablePort(port, address) || command == nullptr)
        return kRefused;
    const size_t length = strnlen(command, kMaxCommandText + 1);
    if (length > kMaxCommandText)
        return kRefused;
    char text[kMaxCommandText + 1];
    std::memcpy(text, command, length);
    text[length] = '\0';

    // "code,argument" or "point,value"
    char* comma = std::strchr(text, ',');
    if (comma == nullptr)
        return kRefused;
    *comma = '\0';
    const char* argument = comma + 1;
    long code = 0;
    if (!parseInt(text, 0, 65535, code))
        return kRefused;

    HelperTable helpers;
    if (!helpers.resolve(reinterpret_cast<const void*>(port->readEntry)))
        return kRefused;
    Exchange link(port, helpers, address);
    if (code == kDownloadHistory)
        return downloadHistory(link, helpers);
    if (isUnitCommand(int(code)))
        return sendCommand(link, int(code), argument);
    return writeSetting(link, int(code), argument);
}

} // extern "C"
