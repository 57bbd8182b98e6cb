#ifndef FUZZSUPPORT_H
#define FUZZSUPPORT_H

// For the fuzz targets: a quiet Qt (logged refusals would drown the output), an app, a property check.

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

namespace fuzz {

inline void quietHandler(QtMsgType, const QMessageLogContext&, const QString&) {}

inline void initQt()
{
    qInstallMessageHandler(quietHandler);
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    // Never deleted: the targets' objects outlive any exit path.
    static QCoreApplication* app = new QCoreApplication(argc, argv);
    Q_UNUSED(app);
}

} // namespace fuzz

#define FUZZ_CHECK(condition)                                                              \
    do {                                                                                   \
        if (!(condition)) {                                                                \
            std::fprintf(stderr, "%s:%d: property broken: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                  \
        }                                                                                  \
    } while (0)

#endif // FUZZSUPPORT_H
