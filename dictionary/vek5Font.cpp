#include "vek5Font.h"
// placeholder until the dictionary lands
#include <QMutex>
vek5Font* vek5Font::m_instance = nullptr;
vek5Font* vek5Font::instance() { static QMutex m; if (!m_instance) { QMutexLocker l(&m); if (!m_instance) m_instance = new vek5Font; } return m_instance; }
vek5Font::vek5Font(QObject* parent) : QObject(parent) {}
QStringList vek5Font::getDataLogDesc() { return {}; }
QStringList vek5Font::changeLogData(QMap<int, QVariant>) { return {}; }
QStringList vek5Font::getEventLogDesc() { return m_eventLogDesc; }
void vek5Font::flushData(QMap<int, QVariant> d) { m_data = d; }
