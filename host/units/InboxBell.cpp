#include "InboxBell.h"

#include <QSocketNotifier>

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "UnitSession.h"

InboxBell::InboxBell(QObject* parent) : QObject(parent), m_fd(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (m_fd < 0)
        qFatal("eventfd: %s", strerror(errno));
    m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &InboxBell::answer);
}

InboxBell::~InboxBell()
{
    delete m_notifier;
    ::close(m_fd);
}

void InboxBell::ring(UnitSession* session)
{
    bool first;
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        first = m_rang.isEmpty();
        m_rang.append(session);
    }
    // Already rung and not yet answered: the answer takes this unit too.
    if (first) {
        const std::uint64_t one = 1;
        while (::write(m_fd, &one, sizeof one) < 0 && errno == EINTR) {
        }
    }
}

void InboxBell::forget(UnitSession* session)
{
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        m_rang.removeAll(session);
    }
    std::replace(m_draining.begin(), m_draining.end(), session, static_cast<UnitSession*>(nullptr));
}

void InboxBell::answer()
{
    std::uint64_t count;
    while (::read(m_fd, &count, sizeof count) < 0 && errno == EINTR) {
    }
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        m_draining.swap(m_rang);
    }
    // A unit may be forgotten while another one's records are handled.
    for (int i = 0; i < m_draining.size(); ++i)
        if (UnitSession* s = m_draining.at(i))
            s->drain();
    m_draining.clear();
}
