#ifndef INBOXBELL_H
#define INBOXBELL_H

// Wakes the host's thread when units' records wait: a unit rings from the
// thread that put the first record into its empty inbox, and the host's
// thread then drains the units that rang, each once per ring. Nothing is
// handed over through Qt's event queue, which ThreadSanitizer cannot see:
// the list of units is under a std::mutex and the wake-up is an eventfd
// watched by the host's event loop. One descriptor serves every unit.

#include <QObject>
#include <QVector>

#include <mutex>

class QSocketNotifier;
class UnitSession;

class InboxBell : public QObject
{
    Q_OBJECT
public:
    explicit InboxBell(QObject* parent = nullptr);
    ~InboxBell() override;

    // Any thread.
    void ring(UnitSession* session);
    // Host's thread, before the session is deleted.
    void forget(UnitSession* session);

private:
    void answer();

    int m_fd = -1;
    QSocketNotifier* m_notifier = nullptr;
    std::mutex m_lock;
    QVector<UnitSession*> m_rang;       // under m_lock
    QVector<UnitSession*> m_draining;   // host's thread
};

#endif // INBOXBELL_H
