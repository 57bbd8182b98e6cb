#ifndef SIGNALWATCHER_H
#define SIGNALWATCHER_H

// Turns SIGINT, SIGTERM and SIGHUP into Qt signals on the event loop
// (self-pipe: the handler only writes one byte, the notifier reads it on the
// host's thread), so the host can stop its collectors cleanly or reload.

#include <QObject>
#include <QSocketNotifier>

class SignalWatcher : public QObject
{
    Q_OBJECT
public:
    explicit SignalWatcher(QObject* parent = nullptr);
    ~SignalWatcher() override;

    bool isValid() const { return m_notifier != nullptr; }

signals:
    void terminationRequested(int signalNumber);
    void reloadRequested();

private:
    void readPipe();

    QSocketNotifier* m_notifier = nullptr;
};

#endif // SIGNALWATCHER_H
