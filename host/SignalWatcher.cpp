#include "SignalWatcher.h"

#include <QDebug>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

int g_pipe[2] = {-1, -1};
const int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

void onSignal(int sig)
{
    const unsigned char byte = static_cast<unsigned char>(sig);
    // Nothing else is async-signal-safe here; a full pipe just drops the byte.
    const ssize_t n = ::write(g_pipe[1], &byte, 1);
    (void)n;
}

} // namespace

SignalWatcher::SignalWatcher(QObject* parent) : QObject(parent)
{
    if (g_pipe[0] >= 0 || ::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        qWarning() << "signal pipe unavailable; SIGINT/SIGTERM end the host abruptly";
        return;
    }
    m_notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SignalWatcher::readPipe);

    struct sigaction sa {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    for (int sig : kSignals)
        sigaction(sig, &sa, nullptr);
}

SignalWatcher::~SignalWatcher()
{
    if (!m_notifier)
        return;
    struct sigaction sa {};
    sa.sa_handler = SIG_DFL;
    sigemptyset(&sa.sa_mask);
    for (int sig : kSignals)
        sigaction(sig, &sa, nullptr);
    delete m_notifier;
    m_notifier = nullptr;
    ::close(g_pipe[0]);
    ::close(g_pipe[1]);
    g_pipe[0] = g_pipe[1] = -1;
}

void SignalWatcher::readPipe()
{
    unsigned char byte = 0;
    while (::read(g_pipe[0], &byte, 1) == 1) {
        if (byte == SIGHUP)
            emit reloadRequested();
        else
            emit terminationRequested(byte);
    }
}
