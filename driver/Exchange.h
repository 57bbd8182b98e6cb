#ifndef EXCHANGE_H
#define EXCHANGE_H

// One Modbus RTU request and its answer over a port handle's entries.
//
// The answer is read until it is complete or the line stays silent for a
// read timeout; pieces are joined. Only a frame that matches the request
// (address, function code, byte count or echoed fields, CRC) is taken: bytes
// left over from an earlier exchange, or a late answer to an earlier
// request, are skipped over and never taken for the current answer.

#include "HelperTable.h"
#include "porthandle.h"

enum class Outcome {
    Ok,
    Silent,      // no matching answer within the timeout, or the port failed
    Exception,   // the unit answered with a Modbus exception
};

class Exchange
{
public:
    Exchange(PortHandle* port, const HelperTable& helpers, int address);

    // Function 2, 3 or 4; the answer's data bytes go to `data` (room for
    // `dataSize` bytes, which must cover the answer).
    Outcome read(int function, int start, int count, unsigned char* data, int dataSize);
    // Function 6.
    Outcome writeSingle(int reg, int value);
    // Function 16; `data` holds 2 x count bytes, high byte first.
    Outcome writeMultiple(int start, int count, const unsigned char* data);

    int exceptionCode() const { return m_exception; }

    // Longest frame this driver sends or expects.
    static constexpr int kMaxFrame = 256;

private:
    struct Expectation {
        int function;
        int length;                 // whole answer, CRC included
        const unsigned char* echo;  // bytes 2..5 that the answer must repeat, or null
        int byteCount;              // for reads: the count byte the answer must carry
    };

    // Drains a port left stale (and resynchronises it when the abandoned
    // request was this one), then exchange()s; marks the port stale when no
    // answer came.
    Outcome transact(unsigned char* request, int requestLength, const Expectation& expect,
                     unsigned char* answer);
    Outcome exchange(unsigned char* request, int requestLength, const Expectation& expect,
                     unsigned char* answer);
    // Offset of a valid answer (or exception) in the first `got` bytes, -1 when
    // none is complete yet. Sets m_exception for an exception answer.
    int findAnswer(const unsigned char* buffer, int got, const Expectation& expect, bool& isException);
    // Exchanges a request of a shape no other request has; true once the
    // unit has answered it, after whatever was still on its way.
    bool resynchronise();
    // Reads and drops input until the port is silent.
    void drain();

    PortHandle* m_port;
    const HelperTable& m_helpers;
    int m_address;
    int m_exception = 0;
};

#endif // EXCHANGE_H
