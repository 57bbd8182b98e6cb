#ifndef TESTBYTES_H
#define TESTBYTES_H

#include <QString>

bool writeFile(const QString& path, const QByteArray& content);
// Bytes of every value, the same for a given size.
QByteArray noise(int size);
QByteArray readFile(const QString& path);
// The bytes with their Modbus CRC, worked out here apart from the code under test.
QByteArray withCrc(QByteArray bytes);

#endif // TESTBYTES_H
