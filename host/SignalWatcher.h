#ifndef SIGNALWATCHER_H
#define SIGNALWATCHER_H

// Turns SIGINT and SIGTERM into a Qt signal on the event loop (self-pipe:
// the handler only writes one byte, the notifier reads it on the host's
// thread), so the host can stop its collectors cleanly.

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

private:
    void readPipe();

    QSocketNotifier* m_notifier = nullptr;
};

#endif // SIGNALWATCHER_H
