#ifndef VEK5CLIENT_H
#define VEK5CLIENT_H

// The plugin's collector: one per monitored unit, made by create() on the
// plugin instance.

#include "CollectThread.h"

class vek5Client : public CollectThread
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.nalo.Qt.ProInterface")
public:
    explicit vek5Client(CollectThread* parent = nullptr);
    ~vek5Client() override;

public slots:
    QStringList getDataLogDesc() override;
    QStringList changeLogData(QMap<int, QVariant> data) override;
    QStringList getEventLogDesc() override;
};

#endif // VEK5CLIENT_H
