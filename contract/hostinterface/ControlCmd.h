#ifndef CONTROLCMD_H
#define CONTROLCMD_H

// One queued control command: the id the host asked for and its argument.

#include <QString>

struct ControlCmd
{
    int id = 0;
    QString value;
};

#endif // CONTROLCMD_H
