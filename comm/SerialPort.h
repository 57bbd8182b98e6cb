#ifndef SERIALPORT_H
#define SERIALPORT_H

// A QIODevice over a POSIX terminal device. Opened in one call from a
// settings text ("9600,n,8,1" or "12#3#0#0"), locked by its user for a whole
// driver call, and logging every transfer to "log_<device>.log".
//
// Public API used by the rest of the plugin; the implementation may add
// private members.

#include <QFile>
#include <QIODevice>
#include <QMutex>
#include <QString>

#include <memory>

struct SerialPortLine;   // SerialPort_p.h

enum BaudRateType {
    BAUD50 = 0, BAUD75, BAUD110, BAUD134, BAUD150, BAUD200, BAUD300, BAUD600,
    BAUD1200, BAUD1800, BAUD2400, BAUD4800, BAUD9600, BAUD14400, BAUD19200,
    BAUD38400, BAUD56000, BAUD57600, BAUD76800, BAUD115200, BAUD128000, BAUD256000
};
enum DataBitsType { DATA_5 = 0, DATA_6, DATA_7, DATA_8 };
enum ParityType { PAR_NONE = 0, PAR_ODD, PAR_EVEN, PAR_SPACE, PAR_MARK };
enum StopBitsType { STOP_1 = 0, STOP_2, STOP_1_5 };
enum FlowType { FLOW_OFF = 0, FLOW_HARDWARE, FLOW_XONXOFF };

struct PortSettings
{
    BaudRateType BaudRate;
    DataBitsType DataBits;
    ParityType Parity;
    StopBitsType StopBits;
    FlowType FlowControl;
    qint64 Timeout_Millisec;
};

class SerialPort : public QIODevice
{
    Q_OBJECT
public:
    enum QueryMode { Polling, EventDriven };

    SerialPort();
    explicit SerialPort(const QString& name, QueryMode mode = Polling);
    SerialPort(const QString& name, const PortSettings& settings, QueryMode mode = Polling);
    ~SerialPort() override;

    bool CommOpen(QString name, QString settings, int timeout);
    bool ReOpen();
    void Lock();
    void UnLock();
    void saveLogData(const char* data, int count, int direction);

    QString getPortSettings() const;          // the settings text given to CommOpen
    const PortSettings& settings() const;     // the applied settings record
    int lastError() const;

    bool isSequential() const override { return true; }

    // lastError() codes.
    enum ErrorCode {
        NoError = 0, InvalidPortError = 1, OutOfMemoryError = 2, InterruptedError = 3,
        ReadFailedError = 13, WriteFailedError = 14
    };

    // Bits of lineStatus().
    enum LineStatus {
        LS_CTS = 0x01, LS_DSR = 0x02, LS_DCD = 0x04, LS_RI = 0x08,
        LS_RTS = 0x10, LS_DTR = 0x20, LS_ST = 0x40, LS_SR = 0x80
    };

    // Cleared by the port manager's tick; nothing sets it.
    int used = 0;

public slots:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;
    void setBaudRate(BaudRateType rate);
    void setDataBits(DataBitsType bits);
    void setParity(ParityType parity);
    void setStopBits(StopBitsType bits);
    void setFlowControl(FlowType flow);
    void setTimeout(qint64 millisec);
    bool open(OpenMode mode) override;
    void close() override;
    void flush();
    qint64 size() const override;
    qint64 bytesAvailable() const override;
    void setDtr(bool set = true);
    void setRts(bool set = true);
    void ungetChar(char c);
    void translateError(ulong error);
    ulong lineStatus();
    void init();
    QString getPortName() const;

private:
    // Implementation state: see SerialPort.cpp / SerialPort_unix.cpp.
    bool parseSettings(const QString& text);
    void usePortName(const QString& name);
    bool openDeviceFile();
    void applySettingsRecord();
    void applyOpenSettings();
    void writeAttributes();
    void setModemBit(int bit, bool set);
    int fd() const;

    QMutex* m_lock = nullptr;
    QString m_logFileName;
    QString m_logPrefix;
    QFile* m_file = nullptr;
    PortSettings m_settings {};
    QString m_settingsText;
    std::unique_ptr<SerialPortLine> m_line;
    ulong m_lastError = 0;
    QString m_portName;
    long m_timeoutSec = 0;      // Timeout_Millisec split for the read timer
    long m_timeoutMsec = 0;
};

#endif // SERIALPORT_H
