#ifndef VEK5FONT_H
#define VEK5FONT_H

// The process-wide dictionary: data-log headings and values, and the event
// catalogue (appearance texts at 0..497, clearing texts at 498..995). Every
// text is translated once, when the singleton is first created.

#include <QAtomicPointer>
#include <QMap>
#include <QObject>
#include <QStringList>
#include <QVariant>
#include <QVector>

class vek5Font : public QObject
{
    Q_OBJECT
public:
    static vek5Font* instance();

    QStringList getDataLogDesc();
    QStringList changeLogData(QMap<int, QVariant> data);
    QStringList getEventLogDesc();
    void flushData(QMap<int, QVariant> data);

private:
    explicit vek5Font(QObject* parent = nullptr);

    QStringList m_dataLogDesc;
    QVector<QString> m_batteryState;
    QVector<QString> m_outputMode;
    QStringList m_eventLogDesc;
    QMap<int, QVariant> m_data;

    // Read without the lock on the fast path of instance(), hence atomic.
    static QAtomicPointer<vek5Font> m_instance;
};

#endif // VEK5FONT_H
