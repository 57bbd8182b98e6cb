#ifndef NUTLINEPARSER_H
#define NUTLINEPARSER_H

// The NUT network protocol's text layer, with no I/O: cutting a byte stream
// into lines, splitting a line into words (double quotes group words,
// a backslash takes the next character as it is) and quoting values for
// replies the same way.

#include <QByteArray>
#include <QString>
#include <QStringList>

class NutLineParser
{
public:
    explicit NutLineParser(int maxLineLength = 512) : m_maxLine(maxLineLength) {}

    // Adds received bytes. Once a line grows past the limit the stream is
    // spoiled: overflowed() turns true and no further line comes out.
    void append(const QByteArray& bytes);
    // The next complete line without its "\n" (and "\r"); false when none.
    bool takeLine(QByteArray* line);
    bool overflowed() const { return m_overflow; }
    int pendingBytes() const { return int(m_buffer.size()); }

    // Splits one line into words. False for an unterminated quote or a
    // trailing backslash.
    static bool split(const QByteArray& line, QStringList* words);
    // `text` in double quotes, with '"' and '\' escaped by a backslash.
    static QByteArray quote(const QString& text);

private:
    int m_maxLine;
    QByteArray m_buffer;
    bool m_overflow = false;
};

#endif // NUTLINEPARSER_H
