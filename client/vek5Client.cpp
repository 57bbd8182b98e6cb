#include "vek5Client.h"

#include "vek5Font.h"

#include <QMetaType>

vek5Client::vek5Client(CollectThread* parent)
    : CollectThread(parent)
{
    qRegisterMetaType<QMap<int, QVariant>>("QMap<int,QVariant>");
    qRegisterMetaType<CollectThread*>("CollectThread*");
    qRegisterMetaType<QList<int>>("QList<int>");
}

vek5Client::~vek5Client() = default;

QStringList vek5Client::getDataLogDesc()
{
    return vek5Font::instance()->getDataLogDesc();
}

QStringList vek5Client::changeLogData(QMap<int, QVariant> data)
{
    return vek5Font::instance()->changeLogData(data);
}

QStringList vek5Client::getEventLogDesc()
{
    return vek5Font::instance()->getEventLogDesc();
}
