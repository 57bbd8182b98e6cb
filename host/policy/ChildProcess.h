#ifndef CHILDPROCESS_H
#define CHILDPROCESS_H

// A command of the host's (shutdownCmd, notifyCmd) in a session and process
// group of its own, so that it can be stopped with everything it started:
// the shell's children, their pipelines and background jobs.

#include <QProcess>

#include <sys/types.h>

class ChildProcess : public QProcess
{
    Q_OBJECT
public:
    // `what` ("notifyCmd") and `unit` name it in reports.
    ChildProcess(const QString& what, const QString& unit, QObject* parent = nullptr);

    const QString& what() const { return m_what; }
    const QString& unit() const { return m_unit; }

    // TERM to the group. Once the command has ended, what is left of its
    // group gets KILL.
    void terminateGroup();
    void killGroup();
    // TERM to the group, KILL after `graceMs` if the command still runs.
    void stopGroup(int graceMs);
    // True once stopped: its end is the host's doing.
    bool stopping() const { return m_stopping; }

protected:
    void setupChildProcess() override;

private:
    QString m_what;
    QString m_unit;
    pid_t m_group = 0;
    bool m_stopping = false;
};

#endif // CHILDPROCESS_H
