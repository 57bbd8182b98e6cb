#ifndef HOSTOPTIONS_H
#define HOSTOPTIONS_H

// Command line of upsmon-host. Parsed before the application object exists
// (the mode decides between a widget and a console application), so paths
// that default to the application directory are filled in later.

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

struct HostOptions
{
    QString pluginPath;         // empty: next to the executable
    QString driverPath;         // empty: next to the plugin
    bool headless = false;
    bool json = false;
    bool showData = false;      // also print every data report
    QString dataLogPath;        // empty: no data log file
    int duration = 0;           // seconds; 0 runs until a signal or the window closes
    int logInterval = 0;        // seconds; 0 takes param.ini [host] logInterval
    int answerTimeout = 0;      // seconds; 0 takes param.ini [host] answerTimeout
    int userLevel = 2;          // initial user level of the window
    QList<QPair<int, QString>> commands;   // sent to each unit after its first answer
    QString metricsListen;      // ADDR:PORT of /metrics; empty takes param.ini [metrics] listen

    // Parses argv (program name first). `hasDisplay` picks the mode when
    // --headless is not given. False with a message for bad arguments;
    // `helpText` is set instead when --help was asked for.
    static bool parse(const QStringList& args, bool hasDisplay, HostOptions* out,
                      QString* error, QString* helpText);

    // True when a window system is reachable from the environment.
    static bool displayAvailable();
};

#endif // HOSTOPTIONS_H
