#include "vek5Client.h"

#include "CollectView.h"
#include "UpsCommand.h"
#include "EventTypes.h"
#include "PortManage.h"
#include "RecordKeys.h"
#include "SerialPort.h"
#include "points.h"
#include "portaccess.h"
#include "vek5Font.h"
#include "vek5View.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QBuffer>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QLibrary>
#include <QMetaType>
#include <QMutex>
#include <QSettings>
#include <QTcpSocket>
#include <QTextCodec>
#include <QTextStream>
#include <QTimer>

#include <cstdio>
#include <ctime>

namespace {

constexpr int kFirstAlarmPoint = point::FirstAlarm;
constexpr int kStatusPoint2022 = point::LowBatteryDod;
constexpr int kStatusPoint2368 = point::InputAbnormal;
constexpr int kFirstModelPoint = point::Model;
constexpr int kModelLength = point::ModelLength;
constexpr int kLoadPoint = point::OutputLoadR;

const char kDriverFileName[] = "libvek5m_10-30k";
const char kHistoryCodeMapPath[] = "./PVMX/drovaPanel/db/historycodemap.csv";
const char kHistoryPath[] = "./history.txt";
constexpr int kHistoryFieldCount = 8;

// Integer value of a history field, as QString::toInt reads the field.
int historyField(const char* text, int length)
{
    if (length > 0 && length <= 9) {
        int value = 0;
        int i = 0;
        for (; i < length && text[i] >= '0' && text[i] <= '9'; ++i)
            value = value * 10 + (text[i] - '0');
        if (i == length)
            return value;
    }
    return QString::fromLatin1(text, length).toInt();
}

// Values of the first kHistoryFieldCount blank-separated fields of a history
// line (every blank separates, so two in a row make an empty field); false
// when the line has fewer fields.
bool splitHistoryLine(const char* line, int length, int (&values)[kHistoryFieldCount])
{
    int count = 0;
    int start = 0;
    for (int i = 0; i <= length && count < kHistoryFieldCount; ++i) {
        if (i == length || line[i] == ' ') {
            values[count++] = historyField(line + start, i - start);
            start = i + 1;
        }
    }
    return count == kHistoryFieldCount;
}

// Appends what QString::number(value) gives.
void appendNumber(QByteArray& out, int value)
{
    if (value < 0) {
        out += QByteArray::number(value);
        return;
    }
    char digits[10];
    int first = 10;
    do {
        digits[--first] = char('0' + value % 10);
        value /= 10;
    } while (value != 0);
    out.append(digits + first, 10 - first);
}

// Appends a time field as arg(value, 2, 10, QChar('0')) writes it.
void appendTwoDigits(QByteArray& out, int value)
{
    if (value >= 0 && value <= 99) {
        out += char('0' + value / 10);
        out += char('0' + value % 10);
    } else {
        out += QString("%1").arg(value, 2, 10, QChar('0')).toLatin1();
    }
}

QString configDir()
{
    return QCoreApplication::applicationDirPath().replace("\\", "/") + "/PVMX/" + "drovaPanel" + "/db";
}

// Every cycle stamps its records; the collectors of a host share one text
// per second instead of each formatting the local time anew.
QString nowText()
{
    static QBasicMutex lock;
    static qint64 second = -1;
    static QString text;
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    QMutexLocker locker(&lock);
    if (now != second) {
        text = QDateTime::fromSecsSinceEpoch(now).toString("yyyy-MM-dd hh:mm:ss");
        second = now;
    }
    return text;
}

PortManage* portManager(void* handle)
{
    return static_cast<PortManage*>(handle);
}

} // namespace

void vek5DataProce(int id, float value, void* context)
{
    vek5Client* client = *static_cast<vek5Client**>(context);
    client->parseData(id, value);
}

vek5Client::vek5Client(CollectThread* parent)
    : CollectThread(parent)
{
    m_retries = 5;
    m_commState = -1;
    qRegisterMetaType<QMap<int, QVariant>>("QMap<int,QVariant>");
    qRegisterMetaType<CollectThread*>("CollectThread*");
    qRegisterMetaType<QList<int>>("QList<int>");
    if (!QMetaType::hasRegisteredConverterFunction<QList<int>, QtMetaTypePrivate::QSequentialIterableImpl>()) {
        QMetaType::registerConverter<QList<int>, QtMetaTypePrivate::QSequentialIterableImpl>(
            QtMetaTypePrivate::QSequentialIterableConvertFunctor<QList<int>>());
    }
    LoadDriver();
    initHistoryInfo();
}

vek5Client::~vek5Client()
{
    // Unloading the driver under a running "Query" would pull its code away.
    if (stopOwnThread())
        FreeDriver();
    delete m_view.data();
    qDebug() << "~vek5Client";
    delete m_tcpSocket;
}

CollectView* vek5Client::getView()
{
    if (!m_view) {
        m_view = new vek5View();
        connect(m_view.data(), &CollectView::postDEvent, this, &CollectThread::postDEvent);
    }
    m_view->refreshLayout();
    m_view->refreshData();
    m_view->setName(m_devName);
    return m_view;
}

CollectThread* vek5Client::create(void* handle)
{
    vek5Client* client = new vek5Client();
    client->m_portHandle = handle;
    return client;
}

void vek5Client::release(vek5Client* c)
{
    c->deleteLater();
}

bool vek5Client::LoadDriver()
{
    if (m_lib != nullptr)
        return true;
    try {
        m_lib = new QLibrary();
        m_lib->setFileName(kDriverFileName);
        if (m_lib->load()) {
            m_query = reinterpret_cast<QueryFunc>(m_lib->resolve("Query"));
            m_control = reinterpret_cast<ControlFunc>(m_lib->resolve("Control"));
        }
        if (m_query == nullptr)
            qDebug() << "not had Query";
        if (m_control == nullptr)
            qDebug() << "not had Control" << m_lib->errorString();
    } catch (...) {
        qDebug() << "load lib fail";
    }
    return true;
}

bool vek5Client::FreeDriver()
{
    if (m_lib != nullptr) {
        m_lib->unload();
        delete m_lib;
        m_lib = nullptr;
        m_query = nullptr;
        m_control = nullptr;
    }
    return true;
}

void vek5Client::loadConfig()
{
    const QString dir = configDir();
    struct
    {
        QString language, portName, portSettings, ipAddr;
        int addr, retries, protocol, interval, commType, tcpPort;
        QMap<int, int> eventChoose;
    } config;

    QSettings* param = new QSettings(dir + "/param.ini", QSettings::IniFormat);
    // 0 selects language code "1"; the inversion is what the host expects.
    config.language = param->value("Language", 0).toInt() == 0 ? "1" : "0";
    delete param;

    QSettings* dev = new QSettings(dir + "/dev.ini", QSettings::IniFormat);
    const QString group = m_devName + "/";
    config.portName = dev->value(group + "portName", "COM1").toString();
    config.addr = dev->value(group + "addr", 1).toInt();
    if (PortManage* manager = portManager(m_portHandle)) {
        if (SerialPort* port = manager->getPortHandle(config.portName))
            config.portSettings = port->getPortSettings();
    }
    config.retries = dev->value(group + "retries", 5).toInt();
    config.protocol = dev->value(group + "protocol", 0).toInt();
    config.interval = dev->value(group + "interval", 5).toInt();
    config.commType = dev->value(group + "commType", 0).toInt();
    config.ipAddr = dev->value(group + "ipAddr", "").toString();
    config.tcpPort = dev->value(group + "port", 502).toInt();
    const int eventCount = getEventLogDesc().size();
    for (int i = 0; i < eventCount; ++i)
        config.eventChoose.insert(i, dev->value(group + QString("eventChooseList/%1").arg(i), 0).toInt());
    delete dev;

    const auto apply = [this, config] {
        m_language = config.language;
        m_portName = config.portName;
        m_devAddr = config.addr;
        m_retries = config.retries;
        m_protocol = config.protocol;
        m_interval = config.interval;
        m_commType = config.commType;
        m_ipAddr = config.ipAddr;
        m_tcpPort = config.tcpPort;
        setPort(config.portName, config.portSettings);
        for (auto it = config.eventChoose.constBegin(); it != config.eventChoose.constEnd(); ++it)
            m_eventChoose.insert(it.key(), it.value());
    };
    if (fromOutsideRunningThread()) {
        qWarning("vek5Client: loadConfig() while the collector's thread runs; it takes effect at the next cycle");
        deferToNextCycle(apply);
    } else {
        applyLeftoverChanges();
        apply();
    }
}

void vek5Client::setPort(QString portName, QString settings)
{
    if (fromOutsideRunningThread()) {
        qWarning("vek5Client: setPort() while the collector's thread runs; it takes effect at the next cycle");
        deferToNextCycle([this, portName, settings] { setPort(portName, settings); });
        return;
    }
    applyLeftoverChanges();
    m_portName = portName;
    m_portSettings = settings;
    m_portReopened = 1;
    if (PortManage* manager = portManager(m_portHandle))
        manager->ReOpen(portName);
}

void vek5Client::setDevId(int id)
{
    m_devAddr = id;
}

QString vek5Client::utfToChina(QString s)
{
    return QString::fromUtf8(s.toLatin1());
}

QStringList vek5Client::getDataLogDesc()
{
    return vek5Font::instance()->getDataLogDesc();
}

QStringList vek5Client::changeLogData(QMap<int, QVariant> data)
{
    return vek5Font::instance()->changeLogData(data);
}

QStringList vek5Client::getEventLogDesc()
{
    return vek5Font::instance()->getEventLogDesc();
}

void vek5Client::run()
{
    if (m_interval == 0)
        m_interval = 1;
    {
        QTimer timer;
        timer.setInterval(kTimerIntervalMs);
        connect(&timer, &QTimer::timeout, this, &vek5Client::threadTimer, Qt::DirectConnection);
        QTimer::singleShot(0, &timer, static_cast<void (QTimer::*)()>(&QTimer::start));
        timer.start();
        exec();
    }
    // The socket belongs to this thread; it must not outlive it. Reset as a
    // cycle, so that the destructor or a later poll() sees the reset. Only a
    // poll() that began before start() can hold the flag here; the socket is
    // then left to it and to the destructor.
    if (beginCycle()) {
        delete m_tcpSocket;
        m_tcpSocket = nullptr;
        endCycle();
    }
}

void vek5Client::poll()
{
    if (fromOutsideRunningThread()) {
        qWarning("vek5Client: poll() while the collector's own thread polls; ignored");
        return;
    }
    if (!beginCycle())
        return;   // called from within a cycle, or beside another caller's
    const qint64 now = static_cast<qint64>(time(nullptr));
    bool due = now >= m_nextPollTime;
    if (!due) {
        QMutexLocker locker(&m_cmdLock);
        due = !m_cmdList.isEmpty();
    }
    if (due) {
        m_nextPollTime = now + m_interval;
        m_workState = 1;
        runCycle();
        m_workState = 0;
    }
    endCycle();
}

bool vek5Client::fromOutsideRunningThread() const
{
    return isRunning() && QThread::currentThread() != this;
}

void vek5Client::deferToNextCycle(std::function<void()> change)
{
    std::lock_guard<std::mutex> lock(m_pendingLock);
    m_pending.push_back(std::move(change));
}

bool vek5Client::beginCycle()
{
    return !m_inCycle.exchange(true, std::memory_order_acquire);
}

void vek5Client::endCycle()
{
    m_inCycle.store(false, std::memory_order_release);
}

// True once no thread of this collector runs; false if it outlived the wait.
bool vek5Client::stopOwnThread()
{
    if (isRunning()) {
        qWarning("vek5Client: deleted while its thread runs; stopping the thread first");
        m_stopping = true;
        quit();
        if (!wait(kStopWaitMs))
            return false;
    }
    // Taken for good. Pairs with the release at the end of run(), so that
    // everything the thread did is ordered before what follows.
    beginCycle();
    return true;
}

int vek5Client::control(int id, QString value)
{
    QMutexLocker locker(&m_cmdLock);
    m_cmdList.append(ControlCmd{id, value});
    return 1;
}

void vek5Client::parseData(int id, float value)
{
    // A read reports its points in the register table's order, the same
    // points each cycle: the entry due next is where the last one ended, so
    // the map is walked once instead of searched from its root per point.
    // The walk starts afresh with each read and whenever the map is shared
    // (begin() then unshares it, from the last record's copy say).
    if (!m_walking || !m_dataMap.isDetached()) {
        m_walk = m_dataMap.begin();
        m_walking = true;
    }
    if (m_walk != m_dataMap.end() && m_walk.key() == id) {
        *m_walk = QVariant(value);
        ++m_walk;
        return;
    }
    m_walk = std::next(m_dataMap.insert(id, QVariant(value)));
}

QMap<QString, QVariant> vek5Client::commonRecord() const
{
    QMap<QString, QVariant> record;
    record.insert(RecordKey::Name, m_devName);
    record.insert(RecordKey::Protocol, m_protocol);
    record.insert(RecordKey::Port, m_portName);
    record.insert(RecordKey::TimeStr, nowText());
    return record;
}

bool vek5Client::queryDevice()
{
    m_walking = false;
    if (m_commType != 0) {
        if (m_query == nullptr || m_tcpSocket == nullptr)
            return false;
        PortHandle handle{m_tcpSocket, TcpCommRead, TcpCommWrite};
        return m_query(&handle, m_devAddr, vek5DataProce, &m_driverContext) != 0;
    }
    PortManage* manager = portManager(m_portHandle);
    SerialPort* port = manager ? manager->getPortHandle(m_portName) : nullptr;
    if (port == nullptr || m_query == nullptr)
        return false;
    PortHandle handle{port, CommRead, CommWrite};
    port->Lock();
    const int answered = m_query(&handle, m_devAddr, vek5DataProce, &m_driverContext);
    port->UnLock();
    return answered != 0;
}

void vek5Client::threadTimer()
{
    if (!beginCycle())
        return;   // a poll() from before start() is still in its cycle
    runCycle();
    endCycle();
}

void vek5Client::applyPendingChanges()
{
    std::vector<std::function<void()>> changes;
    {
        std::lock_guard<std::mutex> lock(m_pendingLock);
        changes.swap(m_pending);
    }
    for (const auto& change : changes)
        change();
}

void vek5Client::applyLeftoverChanges()
{
    // A thread stopped before its next cycle leaves its deferred changes
    // behind; they are older than the change being made now, so they go
    // first instead of overriding it at the next cycle.
    if (!isRunning())
        applyPendingChanges();
}

void vek5Client::runCycle()
{
    applyPendingChanges();

    ++m_tick;
    {
        QMutexLocker locker(&m_cmdLock);
        if (!m_cmdList.isEmpty())
            m_tick = 0;
    }

    if (m_commType == 1) {
        if (m_tcpSocket == nullptr) {
            m_tcpSocket = new QTcpSocket();
            m_tcpSocket->setReadBufferSize(kTcpReadBufferSize);
        }
        const QAbstractSocket::SocketState state = m_tcpSocket->state();
        if (state == QAbstractSocket::UnconnectedState || state == QAbstractSocket::ClosingState) {
            QThread::sleep(kReconnectPauseSec);
            m_tcpSocket->connectToHost(m_ipAddr, static_cast<quint16>(m_tcpPort), QIODevice::ReadWrite,
                                       QAbstractSocket::AnyIPProtocol);
            m_tcpSocket->waitForConnected(kConnectTimeoutMs);
        }
    }

    check_set_command();
    if (m_stopping)
        return;

    QMap<QString, QVariant> record = commonRecord();
    if (queryDevice()) {
        m_failCount = 0;
        if (m_commState != 0) {
            m_commState = 0;
            record.insert(RecordKey::Desc, m_devName);
            record.insert(RecordKey::State, 0);
            emit postDEvent(EventType::CommRestored, record);
            emit postDEvent(EventType::AlarmNotice, record);
        }
    } else {
        ++m_failCount;
        if (m_failCount >= m_retries) {
            if (m_commType == 0 && !m_holdReopen)
                setPort(m_portName, m_portSettings);
            if (m_commState != 1) {
                record.insert(RecordKey::Lost, 1);
                record.insert(RecordKey::State, 1);
                record.insert(RecordKey::Desc, m_devName);
                emit postDEvent(EventType::CommLost, record);
                m_commState = 1;
                emit postDEvent(EventType::AlarmNotice, record);
            }
        }
    }

    reportData();
}

int vek5Client::alarmCount()
{
    if (m_alarmCount < 0)
        m_alarmCount = getEventLogDesc().size() / 2;
    return m_alarmCount;
}

void vek5Client::reportData()
{
    QMap<QString, QVariant> record = commonRecord();
    record.insert(RecordKey::Lost, 0);

    const int n = alarmCount();
    bool appeared = false;
    // The alarm points lie side by side in the data map, and the previous
    // states under keys 0..n-1: both are walked along, not searched per alarm.
    const QMap<int, QVariant>& data = m_dataMap;
    auto point = data.lowerBound(kFirstAlarmPoint);
    m_prevAlarmState.detach();   // an insert below must not move it to new nodes
    auto previous = qAsConst(m_prevAlarmState).begin();
    for (int i = 0; i < n; ++i) {
        while (point != data.end() && point.key() < kFirstAlarmPoint + i)
            ++point;
        while (previous != m_prevAlarmState.cend() && previous.key() < i)
            ++previous;
        const int value = point != data.end() && point.key() == kFirstAlarmPoint + i ? point.value().toInt() : 0;
        const int before = previous != m_prevAlarmState.cend() && previous.key() == i ? previous.value() : 0;
        if (value == before)
            continue;
        if (value == 1) {
            record.insert(RecordKey::AlarmId, i);
            appeared = true;
        } else {
            record.insert(RecordKey::AlarmId, n + i);
        }
        record.insert(RecordKey::AlarmState, value);
        emit postDEvent(EventType::AlarmChange, record);
        m_prevAlarmState.insert(i, value);
    }

    const struct { int point; int event; } statusPoints[] = {
        {kStatusPoint2022, EventType::StatusPoint2022},
        {kStatusPoint2368, EventType::StatusPoint2368},
    };
    for (const auto& status : statusPoints) {
        const int value = m_dataMap.value(status.point).toInt();
        if (value != m_prevAlarmState.value(status.point)) {
            record.insert(RecordKey::AlarmState, value);
            emit postDEvent(status.event, record);
            m_prevAlarmState.insert(status.point, value);
        }
    }

    record.insert(RecordKey::Data, QVariant::fromValue(m_dataMap));
    emit postDEvent(EventType::DataReport, record);

    flushData(m_dataMap);
    flushUpsInfo(InfoKey::Manufacturer, m_manufacturer);
    flushUpsInfo(InfoKey::Name, m_devName);
    QByteArray model(kModelLength, '\0');
    for (int k = 0; k < kModelLength; ++k)
        model[k] = static_cast<char>(m_dataMap.value(kFirstModelPoint + k).toInt() & 0xFF);
    flushUpsInfo(InfoKey::Model, model);
    if (m_commType == 1)
        flushUpsInfo(InfoKey::PortInfo, QString("tcp:%1:%2").arg(m_ipAddr, QString::number(m_tcpPort)));
    else
        flushUpsInfo(InfoKey::PortInfo, QString("%1-%2").arg(m_portName, m_portSettings));
    flushUpsInfo(InfoKey::State, m_commState);
    flushUpsInfo(InfoKey::Address, QString::number(m_devAddr));
    flushUpsInfo(InfoKey::Load, m_dataMap.value(kLoadPoint).toInt());

    if (appeared) {
        record.insert(RecordKey::DisAlarm, 1);
        record.insert(RecordKey::State, m_commState);
        emit postDEvent(EventType::AlarmNotice, record);
    }
}

int vek5Client::sendCommand(const char* command)
{
    int result = 1;
    if (m_control == nullptr)
        return result;
    if (m_commType != 0) {
        if (m_tcpSocket == nullptr)
            return result;
        PortHandle handle{m_tcpSocket, TcpCommRead, TcpCommWrite};
        return m_control(&handle, m_devAddr, command, &m_driverContext);
    }
    PortManage* manager = portManager(m_portHandle);
    SerialPort* port = manager ? manager->getPortHandle(m_portName) : nullptr;
    if (port == nullptr)
        return result;
    PortHandle handle{port, CommRead, CommWrite};
    port->Lock();
    result = m_control(&handle, m_devAddr, command, &m_driverContext);
    port->UnLock();
    return result;
}

void vek5Client::check_set_command()
{
    int pending = 0;
    {
        QMutexLocker locker(&m_cmdLock);
        pending = m_cmdList.size();
    }
    for (; pending > 0 && !m_stopping; --pending) {
        ControlCmd cmd;
        {
            QMutexLocker locker(&m_cmdLock);
            if (m_cmdList.isEmpty())
                return;
            cmd = m_cmdList.takeFirst();
        }
        QMap<QString, QVariant> record;
        record.insert(RecordKey::ControlId, cmd.id);
        record.insert(RecordKey::ControlValue, cmd.value);
        record.insert(RecordKey::Name, m_devName);
        const QString resultText[2] = {tr("successful"), tr("failed")};

        if (cmd.id == UpsCommand::ClosePort) {
            if (PortManage* manager = portManager(m_portHandle))
                manager->Close(m_portName);
            return;
        }

        // snprintf cuts the text at the buffer's 49 usable characters.
        char text[kCommandTextSize] = {};
        const UpsCommand* command = UpsCommand::byId(cmd.id);
        const bool coded = command != nullptr && command->driverCode != UpsCommand::NoDriverCode;
        const QByteArray value = cmd.value.toLocal8Bit();
        if (coded)
            std::snprintf(text, sizeof text, "%d,%s", command->driverCode, value.constData());
        else if (cmd.id == UpsCommand::RawSetting)
            std::snprintf(text, sizeof text, "%s", value.constData());

        int result = 1;
        if (coded || cmd.id == UpsCommand::RawSetting)
            result = sendCommand(text);
        qDebug() << "control" << cmd.id << "result" << result;

        if (cmd.id == UpsCommand::DownloadHistory) {
            exportHistoryInfo(cmd.value);
            record.insert(RecordKey::Result, 1);
            record.insert(RecordKey::ControlId, cmd.id);
            record.insert(RecordKey::Desc, tr("%1 %2 %3").arg(m_devName, tr(command->collectorLabel), resultText[result == 0 ? 0 : 1]));
            emit postDEvent(EventType::CommandResult, record);
        }
    }
}

void vek5Client::initHistoryInfo()
{
    m_historyState.clear();
    m_historyState.insert(1, tr("Appear"));
    m_historyState.insert(0, tr("Disappear"));
    m_historyCode.clear();

    QFile file(kHistoryCodeMapPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    QTextStream in(&file);
    in.setCodec("system");
    while (!in.atEnd()) {
        // The round trip through UTF-8 ends the text at its first NUL.
        const QString line = QString::fromUtf8(in.readLine().toUtf8().constData());
        const QStringList fields = line.split(",");
        const QString code = fields.value(0).trimmed();
        if (code.isEmpty())
            continue;
        const QString first = fields.value(1).trimmed();
        const QString second = fields.value(2).trimmed();
        QString text = first;
        if (m_language != "0" && !second.isEmpty())
            text = second;
        m_historyCode.insert(code.toInt(nullptr, 10), text);
    }
}

void vek5Client::exportHistoryInfo(QString path)
{
    // Rows go out as they are read, in pieces, so a history of a million
    // lines costs no more memory than a short one. Texts are encoded once, as
    // a text stream in the locale's encoding would write them.
    QFile history(kHistoryPath);
    history.open(QIODevice::ReadOnly | QIODevice::Text);   // unreadable reads as empty
    QFile out(path);
    const bool sameFile = !path.isEmpty() && QFileInfo(path) == QFileInfo(history);
    QBuffer whole;   // an export onto the history itself reads it first
    if (sameFile) {
        whole.setData(history.readAll());
        whole.open(QIODevice::ReadOnly);
        history.close();
    }
    QIODevice& in = sameFile ? static_cast<QIODevice&>(whole) : history;
    const bool exported = !path.isEmpty() && out.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text);
    if (exported) {
        QTextCodec* codec = QTextCodec::codecForLocale();
        QHash<int, QByteArray> texts;
        for (auto it = m_historyCode.cbegin(); it != m_historyCode.cend(); ++it)
            texts.insert(it.key(), codec->fromUnicode(it.value()));
        const QByteArray states[2] = {codec->fromUnicode(m_historyState.value(0)),
                                      codec->fromUnicode(m_historyState.value(1))};
        QByteArray rows = codec->fromUnicode(tr("ID") + "," + tr("Content") + "," + tr("Status") + ","
                                             + tr("Time") + ",\n");
        constexpr int kChunk = 1 << 16;
        rows.reserve(kChunk + 512);
        while (in.isOpen() && !in.atEnd()) {
            const QByteArray raw = in.readLine();
            // Without its line end, then as Latin-1 text: ended by a NUL.
            int length = raw.size();
            while (length > 0 && (raw[length - 1] == '\n' || raw[length - 1] == '\r'))
                --length;
            length = int(qstrnlen(raw.constData(), uint(length)));
            int values[kHistoryFieldCount];
            if (!splitHistoryLine(raw.constData(), length, values))
                continue;
            const int code = values[0];
            appendNumber(rows, code);
            rows += ',';
            const auto text = texts.constFind(code);
            if (text != texts.constEnd())
                rows += *text;
            else
                appendNumber(rows, code);
            rows += ',';
            if (values[1] == 0 || values[1] == 1)
                rows += states[values[1]];
            rows += ",20";
            const char separators[] = "-- ::,";
            for (int f = 2; f < kHistoryFieldCount; ++f) {
                appendTwoDigits(rows, values[f]);
                rows += separators[f - 2];
            }
            rows += '\n';
            if (rows.size() >= kChunk) {
                out.write(rows);
                rows.resize(0);
            }
        }
        out.write(rows);
        out.close();
    }
    history.close();
    // The unit's history lives on only in the exported file (which, written
    // onto the history, has already replaced it).
    QFile emptied(kHistoryPath);
    if (!(sameFile && exported) && emptied.open(QIODevice::WriteOnly | QIODevice::Truncate))
        emptied.close();
}
