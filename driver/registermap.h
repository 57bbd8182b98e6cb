#ifndef REGISTERMAP_H
#define REGISTERMAP_H

// The unit's Modbus register map: the one table that the driver library reads
// by and the simulator serves by. docs/register-map.md describes it for people;
// points.h names the point ids that code uses, checked against this table.
//
// A full read is four requests (alarm bits, identity registers, measurement
// registers, settings registers), each a contiguous block of at most 125
// registers, whose answers all differ in function code or byte count, so an
// answer can never be mistaken for the answer to another block.
//
// Plain data, no library dependencies: included by the C-linkage driver and by
// the libmodbus-based simulator alike.

namespace regmap {

// Modbus function code that reads the table.
enum Table : unsigned char {
    DiscreteInputs = 2,
    HoldingRegisters = 3,
    InputRegisters = 4,
};

enum Encoding : unsigned char {
    Bits,     // one bit per point, value 0 or 1
    Number,   // one signed 16-bit register per point; value = raw / divisor
    Text,     // one character per point, two per register, first one in the high byte
    Date,     // yy MM dd hh mm ss, one byte per point, packed like Text
};

// A run of consecutive point ids carried by consecutive registers (or bits).
struct Field {
    int point;        // first point id
    int points;       // number of points
    Table table;
    int address;      // first register (or bit) address
    Encoding encoding;
    int divisor;      // Number only: raw / divisor is the point's value
};

// Registers (bits for DiscreteInputs) needed to carry a field.
constexpr int fieldWidth(const Field& f)
{
    return (f.encoding == Text || f.encoding == Date) ? (f.points + 1) / 2 : f.points;
}

struct Block {
    Table table;
    int start;
    int count;        // registers, or bits for DiscreteInputs
};

// The full read, in the order the driver sends it.
constexpr Block kBlocks[] = {
    {DiscreteInputs, 0, 512},       // alarm states 2000-2511
    {InputRegisters, 0, 41},        // identity texts, versions, last discharge date
    {InputRegisters, 100, 85},      // live measurements and states
    {HoldingRegisters, 0, 110},     // settings and device information
};
constexpr int kBlockCount = int(sizeof(kBlocks) / sizeof(kBlocks[0]));

constexpr Field kFields[] = {
    // Alarm states; 2022 (low battery, DOD) and 2368 (input abnormal) double
    // as the two status points.
    {2000, 512, DiscreteInputs, 0, Bits, 1},

    // Identity (input registers 0-40)
    {4000, 16, InputRegisters, 0, Text, 1},      // manufacturer
    {4016, 16, InputRegisters, 8, Text, 1},      // model
    {4064, 16, InputRegisters, 16, Text, 1},     // serial number
    {4080, 16, InputRegisters, 24, Text, 1},     // device name
    {4097, 2, InputRegisters, 32, Number, 1},    // Modbus decode version, firmware version
    {4251, 4, InputRegisters, 34, Text, 1},      // rectifier software version
    {4255, 4, InputRegisters, 36, Text, 1},      // inverter software version
    {4268, 6, InputRegisters, 38, Date, 1},      // last discharge time

    // Measurements (input registers 100-184)
    {4101, 1, InputRegisters, 100, Number, 1},   // battery status
    {4103, 2, InputRegisters, 101, Number, 10},  // battery voltage +/- (V)
    {4105, 2, InputRegisters, 103, Number, 10},  // battery current +/- (A)
    {4107, 1, InputRegisters, 105, Number, 10},  // battery temperature (C)
    {4108, 4, InputRegisters, 106, Number, 1},   // battery number, AH, remaining min, remaining %
    {4132, 1, InputRegisters, 110, Number, 1},   // input phase count
    {4133, 6, InputRegisters, 111, Number, 10},  // input voltage R/S/T (V), current R/S/T (A)
    {4139, 6, InputRegisters, 117, Number, 100}, // input frequency R/S/T (Hz), PF R/S/T
    {4161, 2, InputRegisters, 123, Number, 1},   // output load-on state, output phase count
    {4163, 6, InputRegisters, 125, Number, 10},  // output voltage R/S/T (V), current R/S/T (A)
    {4169, 6, InputRegisters, 131, Number, 100}, // output frequency R/S/T (Hz), PF R/S/T
    {4175, 12, InputRegisters, 137, Number, 10}, // output kVA, kW, kvar, load % (R/S/T each)
    {4190, 2, InputRegisters, 149, Number, 1},   // bypass status, bypass phase count
    {4192, 6, InputRegisters, 151, Number, 10},  // bypass voltage R/S/T (V), current R/S/T (A)
    {4198, 6, InputRegisters, 157, Number, 100}, // bypass frequency R/S/T (Hz), PF R/S/T
    {4218, 7, InputRegisters, 163, Number, 1},   // energy-flow states
    {4239, 2, InputRegisters, 170, Number, 1},   // rectifier status, inverter status
    {4241, 2, InputRegisters, 172, Number, 10},  // rectifier, inverter temperature (C)
    {4243, 6, InputRegisters, 174, Number, 1},   // rated kVA, in V, in Hz, out V, out Hz, model id
    {4250, 1, InputRegisters, 180, Number, 1},   // work mode
    {4259, 2, InputRegisters, 181, Number, 1},   // battery test status, buzzer
    {4274, 2, InputRegisters, 183, Number, 1},   // battery, UPS warranty days

    // Settings and device information (holding registers 0-109); the numeric
    // settings sit at point id - 3000.
    {3000, 4, HoldingRegisters, 0, Number, 1},
    {3004, 1, HoldingRegisters, 4, Number, 10},
    {3005, 4, HoldingRegisters, 5, Number, 1},
    {3010, 6, HoldingRegisters, 10, Number, 1},
    {3016, 1, HoldingRegisters, 16, Number, 100},
    {3017, 2, HoldingRegisters, 17, Number, 1},
    {3019, 5, HoldingRegisters, 19, Number, 100},
    {3024, 6, HoldingRegisters, 24, Number, 1},
    {3030, 1, HoldingRegisters, 30, Number, 100},
    {3031, 24, HoldingRegisters, 31, Number, 1},
    {3055, 6, HoldingRegisters, 55, Number, 10},
    {3061, 3, HoldingRegisters, 61, Number, 100},
    {3064, 10, HoldingRegisters, 64, Number, 10},
    {3074, 3, HoldingRegisters, 74, Number, 1},
    {3077, 10, HoldingRegisters, 77, Text, 1},   // device type
    {3087, 16, HoldingRegisters, 82, Text, 1},   // company name
    {3103, 6, HoldingRegisters, 90, Date, 1},    // system time
    {3109, 16, HoldingRegisters, 93, Text, 1},   // serial numbers
    {3125, 2, HoldingRegisters, 101, Number, 1}, // COM_A, COM_B baud rate
    {3150, 14, HoldingRegisters, 103, Text, 1},  // company phone
};
constexpr int kFieldCount = int(sizeof(kFields) / sizeof(kFields[0]));

// The field carrying `point`, or nullptr.
constexpr const Field* findField(int point)
{
    for (const Field& f : kFields)
        if (point >= f.point && point < f.point + f.points)
            return &f;
    return nullptr;
}

// Commands: one function-16 write of two holding registers, code then argument.
constexpr int kCommandRegister = 512;
constexpr int kCommandRegisters = 2;

// Event history (input registers): the record count, then the records, oldest
// first, five registers each: code, state (1 appear, 0 clear), yy<<8|MM,
// dd<<8|hh, mm<<8|ss.
constexpr int kHistoryCountRegister = 1000;
constexpr int kHistoryFirstRegister = 1001;
constexpr int kHistoryRecordRegisters = 5;
constexpr int kHistoryMaxRecords = 200;
constexpr int kHistoryRecordsPerRead = 25;   // 125 registers per request

constexpr int kMaxReadRegisters = 125;
constexpr int kMaxReadBits = 2000;

// Compile-time checks that keep the table and the block list in step.
constexpr bool blocksWithinLimits()
{
    for (const Block& b : kBlocks)
        if (b.count < 1 || b.count > (b.table == DiscreteInputs ? kMaxReadBits : kMaxReadRegisters))
            return false;
    return true;
}

constexpr bool fieldsInsideBlocks()
{
    for (const Field& f : kFields) {
        bool inside = false;
        for (const Block& b : kBlocks)
            if (b.table == f.table && f.address >= b.start && f.address + fieldWidth(f) <= b.start + b.count)
                inside = true;
        if (!inside)
            return false;
    }
    return true;
}

constexpr bool fieldsDisjoint()
{
    for (int i = 0; i < kFieldCount; ++i)
        for (int j = i + 1; j < kFieldCount; ++j) {
            const Field& a = kFields[i];
            const Field& b = kFields[j];
            if (a.point < b.point + b.points && b.point < a.point + a.points)
                return false;
            if (a.table == b.table && a.address < b.address + fieldWidth(b) && b.address < a.address + fieldWidth(a))
                return false;
        }
    return true;
}

static_assert(blocksWithinLimits(), "a block exceeds the Modbus read limit");
static_assert(fieldsInsideBlocks(), "a field lies outside every block of the full read");
static_assert(fieldsDisjoint(), "two fields share points or registers");
static_assert(kHistoryRecordsPerRead * kHistoryRecordRegisters <= kMaxReadRegisters, "history page too large");

} // namespace regmap

#endif // REGISTERMAP_H
