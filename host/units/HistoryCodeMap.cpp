#include "HistoryCodeMap.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

QString HistoryCodeMap::render(const QStringList& eventTexts)
{
    QString out;
    const int half = eventTexts.size() / 2;
    for (int code = 0; code < half; ++code) {
        QString text = eventTexts.at(code).trimmed();
        if (text.isEmpty())
            continue;
        text.replace(QLatin1Char(','), QLatin1Char(';'));
        out += QStringLiteral("%1,%2,\n").arg(code).arg(text);
    }
    return out;
}

bool HistoryCodeMap::install(const QString& path, const QStringList& eventTexts, bool* written,
                             QString* error)
{
    if (written)
        *written = false;
    if (QFileInfo::exists(path))
        return true;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Text)) {
        if (error)
            *error = QStringLiteral("cannot install %1: %2").arg(path, f.errorString());
        return false;
    }
    // The collectors read the map in the locale's codec; write it the same way.
    QTextStream out(&f);
    out << render(eventTexts);
    out.flush();
    if (written)
        *written = true;
    return f.error() == QFileDevice::NoError;
}
