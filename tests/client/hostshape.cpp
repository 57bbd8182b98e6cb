// A host of one of four shapes. Arguments: plugin path, unit name. Prints the cast, the view, 1040, 2007.

#include "CollectThread.h"
#include "CollectView.h"

#include <QApplication>
#include <QPluginLoader>
#include <QTimer>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QPluginLoader loader(QString::fromLocal8Bit(argv[1]));
    QObject* instance = loader.instance();
    if (instance == nullptr) {
        std::printf("load failed: %s\n", qPrintable(loader.errorString()));
        return 1;
    }
    CollectThread* factory = qobject_cast<CollectThread*>(instance);
    std::printf("cast %s\n", factory != nullptr ? "collector" : "null");
    if (factory == nullptr)   // the fallback of a host that cannot cast: by class name
        factory = static_cast<CollectThread*>(instance->qt_metacast("CollectThread"));

    CollectThread* collector = factory->create(nullptr);
    collector->m_devName = QString::fromLocal8Bit(argv[2]);
    collector->loadConfig();
    const CollectView* view = collector->getView();
    std::printf("view %s\n", view != nullptr ? view->metaObject()->className() : "none");
    QObject::connect(collector, &CollectThread::postDEvent, &app, [&app](int type, QMap<QString, QVariant> record) {
        const auto data = record.value("data").value<QMap<int, QVariant>>();
        if (type == 1040 || (type == 2007 && !data.isEmpty()))
            std::printf("event %d %s %d\n", type, qPrintable(record.value("name").toString()), int(data.size()));
        if (type == 2007 && !data.isEmpty())
            app.quit();
    });
    collector->start();
    QTimer::singleShot(60000, &app, [&app] { app.exit(3); });
    const int status = app.exec();
    collector->quit();
    collector->wait(60000);
    delete collector;
    return status;
}
