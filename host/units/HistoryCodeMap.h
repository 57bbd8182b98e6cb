#ifndef HISTORYCODEMAP_H
#define HISTORYCODEMAP_H

// The history code map "historycodemap.csv" that the collectors read to name
// the codes of a unit's history download. The unit's history uses the
// appearance codes of the event catalogue, so the host derives the map from
// the catalogue the plugin hands out, unless a map is already installed
// (a site may keep its own, e.g. with a second language in field 3).

#include <QString>
#include <QStringList>

class HistoryCodeMap
{
public:
    // "code,text," for every named appearance code (the first half of the
    // catalogue). The reader splits at every comma and knows no quoting, so a
    // comma inside a text becomes ";".
    static QString render(const QStringList& eventTexts);

    // Writes the map to `path` when no file is there. True when a map is in
    // place afterwards; `written` tells whether this call wrote it.
    static bool install(const QString& path, const QStringList& eventTexts, bool* written,
                        QString* error);
};

#endif // HISTORYCODEMAP_H
