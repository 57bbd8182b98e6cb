#ifndef SERIALPORT_P_H
#define SERIALPORT_P_H

// SerialPort's platform state, kept out of the public header so that its
// users do not see the terminal interface.

#include <termios.h>

struct SerialPortLine
{
    termios current {};   // the attributes applied to the line
    termios saved {};     // those found at open, restored at close
};

#endif // SERIALPORT_P_H
