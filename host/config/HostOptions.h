#ifndef HOSTOPTIONS_H
#define HOSTOPTIONS_H

// Command line of upsmon-host. Parsed before the application object exists
// (the mode decides between a widget and a console application), so paths
// that default to the application directory are filled in later.

#include <QList>
#include <QString>
#include <QStringList>

struct UnitCommand
{
    QString unit;
    QString name;       // command name or id, as given
    QString value;
};

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
    QList<UnitCommand> commands;   // each sent to its unit after the unit's first answer
    QString configDir;          // empty: <program dir>/PVMX/drovaPanel/db
    bool checkConfig = false;   // check the configuration, print problems, exit
    bool printConfig = false;   // with checkConfig: also every effective setting
    QString asUser;             // with checkConfig: check the users file for this user's rights
    bool dryRun = false;        // print the policy's commands instead of running them
    bool verbose = false;       // every plugin debug line, repeats included
    QString nutListen;          // NUT server ADDR:PORT[,...]; empty: param.ini [nut] listen
    bool help = false;
    bool version = false;
    QString metricsListen;      // ADDR:PORT of /metrics; empty takes param.ini [metrics] listen
    QString webListen;          // ADDR:PORT of the web console; empty takes param.ini [web] listen

    // Parses argv (program name first). `hasDisplay` picks the mode when
    // --headless is not given. False with a message for bad arguments.
    static bool parse(const QStringList& args, bool hasDisplay, HostOptions* out, QString* error);
    // The --help text; needs the application object (for the program name).
    static QString helpText();

    // True when a window system is reachable from the environment.
    static bool displayAvailable();
};

#endif // HOSTOPTIONS_H
