#include "NutLineParser.h"

void NutLineParser::append(const QByteArray& bytes)
{
    if (m_overflow)
        return;
    m_buffer += bytes;
    // Only the unfinished tail counts: complete lines wait to be taken.
    const int lastBreak = m_buffer.lastIndexOf('\n');
    if (m_buffer.size() - (lastBreak + 1) > m_maxLine) {
        m_overflow = true;
        m_buffer.clear();
    }
}

bool NutLineParser::takeLine(QByteArray* line)
{
    const int end = m_buffer.indexOf('\n');
    if (m_overflow || end < 0)
        return false;
    *line = m_buffer.left(end);
    m_buffer.remove(0, end + 1);
    if (line->size() > m_maxLine) {
        m_overflow = true;
        m_buffer.clear();
        return false;
    }
    if (line->endsWith('\r'))
        line->chop(1);
    return true;
}

bool NutLineParser::split(const QByteArray& line, QStringList* words)
{
    words->clear();
    QByteArray word;
    bool inWord = false, quoted = false;
    for (int i = 0; i < line.size(); ++i) {
        const char c = line.at(i);
        if (c == '\\') {
            if (++i == line.size())
                return false;
            word += line.at(i);
            inWord = true;
        } else if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if (!quoted && (c == ' ' || c == '\t')) {
            if (inWord)
                *words += QString::fromUtf8(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (quoted)
        return false;
    if (inWord)
        *words += QString::fromUtf8(word);
    return true;
}

QByteArray NutLineParser::quote(const QString& text)
{
    QByteArray out("\"");
    for (const char c : text.toUtf8()) {
        if (c == '"' || c == '\\')
            out += '\\';
        // A line break inside a value would end the reply line early.
        out += (c == '\n' || c == '\r') ? ' ' : c;
    }
    out += '"';
    return out;
}
