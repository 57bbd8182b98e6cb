#include "SerialPort.h"
#include "SerialPort_p.h"

#include <QDateTime>
#include <QStringList>
#include <QtDebug>

// Platform-independent part of SerialPort: construction, the one-call open
// from a settings text, the port lock and the traffic log. The terminal
// handling lives in SerialPort_unix.cpp.

namespace {

struct BaudRow
{
    int value;   // BaudRateType
    int baud;
};

// Baud numbers of the settings text. The all-zero row ends the table and is
// what an unknown number lands on (value 0, 50 baud).
const BaudRow kBaudTable[] = {
    { BAUD50, 50 },         { BAUD75, 75 },         { BAUD110, 110 },
    { BAUD134, 134 },       { BAUD150, 150 },       { BAUD200, 200 },
    { BAUD300, 300 },       { BAUD600, 600 },       { BAUD1200, 1200 },
    { BAUD1800, 1800 },     { BAUD2400, 2400 },     { BAUD4800, 4800 },
    { BAUD9600, 9600 },     { BAUD14400, 14400 },   { BAUD19200, 19200 },
    { BAUD38400, 38400 },   { BAUD56000, 56000 },   { BAUD57600, 57600 },
    { BAUD76800, 76800 },   { BAUD115200, 115200 }, { BAUD128000, 128000 },
    { BAUD256000, 256000 }, { 0, 0 },
};

BaudRateType baudFromNumber(int baud)
{
    const BaudRow* row = kBaudTable;
    while (row->baud != 0 && row->baud != baud)
        ++row;
    return static_cast<BaudRateType>(row->value);
}

// Log files grow to this size, then are moved aside once.
constexpr qint64 kLogRotateSize = 5242880;

} // namespace

SerialPort::SerialPort()
    : m_line(new SerialPortLine)
{
    init();
}

SerialPort::SerialPort(const QString& name, QueryMode mode)
    : m_line(new SerialPortLine)
{
    Q_UNUSED(mode)   // reads are always polled through readData
    init();
    usePortName(name);
}

SerialPort::SerialPort(const QString& name, const PortSettings& settings, QueryMode mode)
    : m_line(new SerialPortLine)
{
    Q_UNUSED(mode)
    init();
    usePortName(name);
    m_settings = settings;
}

SerialPort::~SerialPort()
{
    close();
    delete m_file;
    delete m_lock;
}

void SerialPort::init()
{
    if (m_lock == nullptr)
        m_lock = new QMutex(QMutex::NonRecursive);
    if (m_file == nullptr)
        m_file = new QFile;
    m_settings = PortSettings { BAUD9600, DATA_8, PAR_NONE, STOP_1, FLOW_OFF, 1000 };
    m_timeoutSec = 1;
    m_timeoutMsec = 0;
    m_lastError = NoError;
}

void SerialPort::usePortName(const QString& name)
{
    m_portName = name;
    m_file->setFileName(name);
    m_logFileName = QStringLiteral("log_") + name.split(QLatin1Char('/')).last() + QStringLiteral(".log");
}

bool SerialPort::parseSettings(const QString& text)
{
    if (text.contains(QLatin1Char(','))) {
        const QStringList parts = text.split(QLatin1Char(','));
        if (parts.size() < 4) {
            qDebug("%s    error settings %s", "CommOpen", qUtf8Printable(text));
            return false;
        }
        static const QString kParity = QStringLiteral("NOESM");
        const QString parity = parts.at(1);
        const int parityIndex = parity.size() == 1 ? kParity.indexOf(parity.at(0).toUpper()) : -1;
        if (parityIndex < 0) {
            qDebug("parity error!");
            return false;
        }
        const QString data = parts.at(2);
        if (data.size() != 1 || data.at(0) < QLatin1Char('5') || data.at(0) > QLatin1Char('8')) {
            qDebug("dataBits error!");
            return false;
        }
        const QString stop = parts.at(3);
        if (stop != QLatin1String("1") && stop != QLatin1String("2")) {
            qDebug("stopBits error!");
            return false;
        }
        m_settings.BaudRate = baudFromNumber(parts.at(0).toInt());
        m_settings.Parity = static_cast<ParityType>(parityIndex);
        m_settings.DataBits = static_cast<DataBitsType>(data.at(0).unicode() - '5');
        m_settings.StopBits = static_cast<StopBitsType>(stop.at(0).unicode() - '1');
        return true;
    }

    // Enumeration values given directly: "12#3#0#0". Values outside the
    // enumerations are refused rather than stored as invalid enum values.
    const QStringList parts = text.split(QLatin1Char('#'));
    const int baud = parts.size() >= 4 ? parts.at(0).toInt() : -1;
    const int data = parts.size() >= 4 ? parts.at(1).toInt() : -1;
    const int parity = parts.size() >= 4 ? parts.at(2).toInt() : -1;
    const int stop = parts.size() >= 4 ? parts.at(3).toInt() : -1;
    if (baud < BAUD50 || baud > BAUD256000 || data < DATA_5 || data > DATA_8
        || parity < PAR_NONE || parity > PAR_MARK || stop < STOP_1 || stop > STOP_1_5) {
        qDebug("%s    error settings %s", "CommOpen", qUtf8Printable(text));
        return false;
    }
    m_settings.BaudRate = static_cast<BaudRateType>(baud);
    m_settings.DataBits = static_cast<DataBitsType>(data);
    m_settings.Parity = static_cast<ParityType>(parity);
    m_settings.StopBits = static_cast<StopBitsType>(stop);
    return true;
}

bool SerialPort::CommOpen(QString name, QString settings, int timeout)
{
    m_settingsText = settings;
    if (settings.isEmpty()) {
        qDebug("%s    serial settings is null", __FUNCTION__);
        return false;
    }
    if (!parseSettings(settings))
        return false;
    // Kept before the open so that a later ReOpen() of a port that was not
    // there yet uses them.
    m_settings.FlowControl = FLOW_OFF;
    m_settings.Timeout_Millisec = timeout;
    usePortName(name);

    qDebug("[%s]    打开标准串口%s Setting=%s TimeOut=%d\n", __FUNCTION__, qUtf8Printable(name),
           qUtf8Printable(settings), timeout);

    if (!openDeviceFile()) {
        qDebug("[%s]    open serial error!", __FUNCTION__);
        return false;
    }
    applyOpenSettings();
    return true;
}

bool SerialPort::ReOpen()
{
    close();
    if (openDeviceFile())
        applyOpenSettings();
    return isOpen();
}

bool SerialPort::openDeviceFile()
{
    return QFile::exists(m_portName) && open(QIODevice::ReadWrite);
}

void SerialPort::applyOpenSettings()
{
    setBaudRate(m_settings.BaudRate);
    setDataBits(m_settings.DataBits);
    setParity(m_settings.Parity);
    setStopBits(m_settings.StopBits);
    setFlowControl(FLOW_OFF);
    setRts(true);
    setDtr(true);
    setTimeout(m_settings.Timeout_Millisec);
    setObjectName(QStringLiteral("serial"));
}

void SerialPort::Lock()
{
    m_lock->lock();
}

void SerialPort::UnLock()
{
    // Deliberately odd: if the lock was free it is taken and kept; only a
    // lock that is held (normally by the caller) is released.
    if (m_lock->tryLock())
        return;
    m_lock->unlock();
}

void SerialPort::saveLogData(const char* data, int count, int direction)
{
    QFile log(m_logPrefix + m_logFileName);
    if (log.open(QIODevice::Append)) {
        QByteArray line = QDateTime::currentDateTime()
                              .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz "))
                              .toUtf8();
        line += direction != 0 ? "recv: " : "send: ";
        if (count > 0)
            line += QByteArray::fromRawData(data, count).toHex(' ') + ' ';
        line += '\n';
        log.write(line);
    }
    if (log.size() > kLogRotateSize) {
        // A backup left by an earlier rotation makes the copy fail; the full
        // log is dropped all the same so it cannot grow without bound.
        if (!log.copy(m_logPrefix + m_logFileName + QStringLiteral(".bak.log")))
            qDebug("%s", qUtf8Printable(log.errorString()));
        log.remove();
    }
    log.close();
}

QString SerialPort::getPortSettings() const
{
    return m_settingsText;
}

const PortSettings& SerialPort::settings() const
{
    return m_settings;
}

int SerialPort::lastError() const
{
    return static_cast<int>(m_lastError);
}

QString SerialPort::getPortName() const
{
    return m_portName;
}

void SerialPort::ungetChar(char c)
{
    Q_UNUSED(c)
    qWarning("Posix_QextSerialPort: ungetChar() called on an unbuffered sequential device - "
             "operation is meaningless");
}
