#ifndef COLLECTVIEW_H
#define COLLECTVIEW_H

// The host's device panel interface. Like CollectThread, host and plugin each
// compile this declaration; its layout and meta-object order are fixed, and
// hosts bind to the class, signal and slot names as spelt here.

#include <QMap>
#include <QString>
#include <QVariant>
#include <QWidget>

#include "RecordKeys.h"
#include "hostinterface_export.h"

class HOSTINTERFACE_EXPORT CollectView : public QWidget
{
    Q_OBJECT
public:
    explicit CollectView(QWidget* parent = nullptr) : QWidget(parent) {}

    QMap<int, QVariant> m_data;
    QMap<QString, QVariant> m_info;
    QString m_name;
    int m_language = 0;
    int m_userLevel = 0;
    QString m_user;

signals:
    void postDEvent(int type, QMap<QString, QVariant> map);

public slots:
    virtual void setName(QString n) { m_name = n; }
    virtual void setLanguage(int l) { m_language = l; }
    virtual void refreshData() {}
    virtual void refreshLayout() {}
    virtual void flushData(QMap<int, QVariant> d) { m_data = d; }
    virtual void flushUpsInfo(QString key, QVariant d) { m_info.insert(key, d); }
    virtual void setUserInfo(QString user, int level)
    {
        m_user = user;
        m_userLevel = level;
    }

    // A command request from the panel: the command id is the event type.
    int control(int id, QString value)
    {
        QMap<QString, QVariant> record;
        record.insert(QLatin1String(RecordKey::Name), m_name);
        record.insert(QLatin1String(RecordKey::ControlId), id);
        record.insert(QLatin1String(RecordKey::ControlValue), value);
        emit postDEvent(id, record);
        return 0;
    }
};

#endif // COLLECTVIEW_H
