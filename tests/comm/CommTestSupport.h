#ifndef COMMTESTSUPPORT_H
#define COMMTESTSUPPORT_H

// Shared by the serial port and port manager tests: a pseudo-terminal pair
// standing in for a serial line, and a capture of the texts the port writes
// to Qt's message streams.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

inline QStringList g_messages;

inline void captureMessages(QtMsgType, const QMessageLogContext&, const QString& text)
{
    g_messages << text;
}

// Collects every message while it lives.
class MessageCapture
{
public:
    MessageCapture() { g_messages.clear(); m_previous = qInstallMessageHandler(captureMessages); }
    ~MessageCapture() { qInstallMessageHandler(m_previous); }

private:
    QtMessageHandler m_previous;
};

// One pseudo-terminal; the test keeps the slave open so the pair stays up.
struct Pty
{
    int master = -1;
    int slave = -1;
    QString path;

    Pty()
    {
        char name[128] = {};
        if (openpty(&master, &slave, name, nullptr, nullptr) == 0)
            path = QString::fromLocal8Bit(name);
    }
    ~Pty()
    {
        if (master >= 0)
            ::close(master);
        if (slave >= 0)
            ::close(slave);
    }
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    termios attributes() const
    {
        termios tio {};
        tcgetattr(slave, &tio);
        return tio;
    }
    void setSpeed(speed_t speed)
    {
        termios tio = attributes();
        cfsetispeed(&tio, speed);
        cfsetospeed(&tio, speed);
        tcsetattr(slave, TCSANOW, &tio);
    }
    QByteArray readMaster(int expected)
    {
        QByteArray got;
        for (int tries = 0; tries < 100 && got.size() < expected; ++tries) {
            char buffer[512];
            pollfd fds { master, POLLIN, 0 };
            if (poll(&fds, 1, 50) <= 0)
                continue;
            const ssize_t n = ::read(master, buffer, sizeof buffer);
            if (n > 0)
                got.append(buffer, int(n));
        }
        return got;
    }
};

#endif // COMMTESTSUPPORT_H
