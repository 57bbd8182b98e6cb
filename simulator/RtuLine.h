#ifndef RTULINE_H
#define RTULINE_H

// The simulator's side of a Modbus RTU line, shared by every unit address it
// serves. Requests are framed here by their function code and checked by
// CRC, whatever address they carry, so that one line can serve several
// units; answers go out after the 3.5-character inter-frame silence and at
// the line's own rate, byte time by byte time, as a real line would carry
// them (a pty pair would otherwise pass them on at memory speed).

#include <modbus/modbus.h>

#include <string>
#include <vector>

class RtuLine
{
public:
    RtuLine(const std::string& device, int baud, char parity, int dataBits, int stopBits);
    ~RtuLine();
    RtuLine(const RtuLine&) = delete;
    RtuLine& operator=(const RtuLine&) = delete;

    // Opens and sets up the device. False with `error` set when unusable.
    bool open(std::string& error);
    int fd() const;
    // The libmodbus context of the line, for building answers.
    modbus_t* context() { return m_ctx; }

    // Reads what the line holds and returns the complete requests with a
    // good CRC, in order; bytes that make no request are skipped.
    std::vector<std::string> receive();
    // Sends a whole frame, paced at the line's rate.
    void send(const std::string& frame);

    static unsigned crc16(const unsigned char* bytes, size_t length);
    // Length of the request at the start of `bytes`, from its function code:
    // 0 while more bytes are needed to tell, -1 for a function it cannot frame.
    static int requestLength(const unsigned char* bytes, size_t available);

private:
    std::string m_device;
    modbus_t* m_ctx = nullptr;
    double m_charSeconds;
    std::string m_pending;      // bytes of a request still arriving
    double m_lastByte = 0;      // when the line last carried a byte
};

#endif // RTULINE_H
