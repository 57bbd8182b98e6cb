#include "ChildProcess.h"

#include <QTimer>

#include <csignal>
#include <unistd.h>

ChildProcess::ChildProcess(const QString& what, const QString& unit, QObject* parent)
    : QProcess(parent), m_what(what), m_unit(unit)
{
    // Connected first, so it runs before any other handler of the end.
    connect(this, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this, [this] {
        if (m_stopping)
            killGroup();
    });
}

void ChildProcess::setupChildProcess()
{
    // Between fork and exec: the command leads a new group whose id is its pid.
    ::setsid();
}

void ChildProcess::terminateGroup()
{
    m_stopping = true;
    if (state() != NotRunning)
        m_group = pid_t(processId());
    if (m_group > 0)
        ::kill(-m_group, SIGTERM);
}

void ChildProcess::killGroup()
{
    // The group's id stays taken while any member lives, so it names no
    // stranger; once all are gone this finds nobody.
    if (m_group > 0)
        ::kill(-m_group, SIGKILL);
}

void ChildProcess::stopGroup(int graceMs)
{
    terminateGroup();
    QTimer::singleShot(graceMs, this, [this] {
        if (state() != NotRunning)
            killGroup();
    });
}
