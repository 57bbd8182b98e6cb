#ifndef VEK5CLIENT_H
#define VEK5CLIENT_H

// The plugin's collector: one per monitored unit, made by create() on the
// plugin instance. It polls the unit through the model driver library on its
// own thread, reports to the host through postDEvent, runs queued control
// commands and exports the unit's history.

#include "CollectThread.h"
#include "ControlCmd.h"
#include "driverapi.h"

#include <QList>
#include <QMap>
#include <QMutex>
#include <QPointer>
#include <QString>

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

class QLibrary;
class QTcpSocket;
class vek5View;

// The driver's callback: `context` is the address of a collector's driver
// context member. Exported so that the driver library may also find it by
// name, which therefore stays as spelt.
__attribute__((visibility("default"))) void vek5DataProce(int id, float value, void* context);

class vek5Client : public CollectThread
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.nalo.Qt.ProInterface" FILE "vek5Client.json")
    Q_INTERFACES(CollectThread)
public:
    // Pause before every TCP (re)connection attempt of a cycle.
    static constexpr unsigned long kReconnectPauseSec = 5;
    static constexpr int kConnectTimeoutMs = 30000;
    static constexpr int kTcpReadBufferSize = 1024;
    static constexpr int kTimerIntervalMs = 100;
    static constexpr int kCommandTextSize = 50;
    // How long deleting a running collector waits for its thread: well above
    // what a cycle asked to stop still takes with the default timeouts (the
    // reconnect pause and connection wait, or one driver call and the port
    // lock; queued commands are left). docs/reliability.md has the sum.
    static constexpr unsigned long kStopWaitMs = 120000;

    explicit vek5Client(CollectThread* parent = nullptr);
    ~vek5Client() override;

    void run() override;

    void release(vek5Client* c);
    void setPort(QString portName, QString settings);
    void setDevId(int id);
    QString utfToChina(QString s);
    bool LoadDriver();
    bool FreeDriver();

    void parseData(int id, float value);
    void reportData();
    void check_set_command();

    void initHistoryInfo();
    void exportHistoryInfo(QString path);

public slots:
    int control(int id, QString value) override;
    QStringList getDataLogDesc() override;
    QStringList changeLogData(QMap<int, QVariant> data) override;
    QStringList getEventLogDesc() override;
    void loadConfig() override;
    CollectView* getView() override;
    CollectThread* create(void* handle) override;
    void poll() override;

private slots:
    void threadTimer();

public:
    QString m_portName;
    QString m_language;               // "1" or "0", from param.ini's inverted "Language"
    QMutex m_cmdLock;                 // guards m_cmdList only, never a driver call
    QList<ControlCmd> m_cmdList;
    int m_portReopened = 0;
    int m_devAddr = 1;
    QString m_portSettings;
    QueryFunc m_query = nullptr;
    ControlFunc m_control = nullptr;
    QLibrary* m_lib = nullptr;
    QMap<int, QVariant> m_dataMap;
    QMap<int, QVariant>::iterator m_walk;   // parseData's place in the map during a read
    bool m_walking = false;
    // Built by the first getView(). Guarded, because a host that puts the
    // panel into its window may delete it with the window first.
    QPointer<vek5View> m_view;
    int m_commType = 0;               // 1 = Modbus TCP, else the serial port
    QTcpSocket* m_tcpSocket = nullptr;
    vek5Client* m_driverContext = this;   // the driver gets this member's address
    QMap<int, QString> m_historyState;
    QMap<int, QString> m_historyCode;
    int m_tick = 0;                   // cycles since the command queue was last non-empty
    qint64 m_nextPollTime = 0;        // seconds since the epoch
    bool m_holdReopen = false;        // keeps a lost serial port from being reopened while set

private:
    bool fromOutsideRunningThread() const;
    void deferToNextCycle(std::function<void()> change);
    void applyPendingChanges();
    void applyLeftoverChanges();
    bool beginCycle();
    void endCycle();
    void runCycle();
    bool stopOwnThread();
    bool queryDevice();
    int sendCommand(const char* command);
    QMap<QString, QVariant> commonRecord() const;
    int alarmCount();

    int m_alarmCount = -1;            // half the event catalogue; fetched once, it never changes

    // Taken for the length of a cycle, so that the timer's cycles and the
    // host's poll() never overlap. Its acquire/release also hands the
    // collector's state from one thread to the next in a form that
    // ThreadSanitizer sees: Qt's own hand-over in QThread::wait is not.
    std::atomic<bool> m_inCycle{false};
    std::atomic<bool> m_stopping{false};   // set by the destructor: end the cycle early
    // Configuration changes made while the thread runs, applied at the
    // start of its next cycle.
    std::mutex m_pendingLock;
    std::vector<std::function<void()>> m_pending;
};

#endif // VEK5CLIENT_H
