#ifndef CONSOLEOUTPUT_H
#define CONSOLEOUTPUT_H

// Console mode: one line per event on stdout, as text or JSON. Data reports
// are left out unless asked for, as they come every polling interval; the
// unit's state still shows as a "state" line at its first report and after
// each derived event.

#include <QObject>
#include <QTextStream>

#include <cstdio>

#include "HostEvent.h"

class ConsoleOutput : public QObject
{
    Q_OBJECT
public:
    // `out`: stdout, or a test's file.
    ConsoleOutput(bool json, bool showData, QObject* parent = nullptr, FILE* out = stdout);

public slots:
    void print(const HostEvent& event);

private:
    QTextStream m_out;
    bool m_json;
    bool m_showData;
};

#endif // CONSOLEOUTPUT_H
