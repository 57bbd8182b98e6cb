#ifndef FUZZSUPPORT_H
#define FUZZSUPPORT_H

// Shared by the fuzz targets: a quiet Qt (the code under test logs every
// refusal, which would drown the fuzzer's own output), an application object
// for the code that needs one, and a check that turns a broken property into
// a crash the fuzzer records.

#include <QCoreApplication>
#include <QtGlobal>

#include <cstdio>
#include <cstdlib>

namespace fuzz {

inline void quietHandler(QtMsgType, const QMessageLogContext&, const QString&) {}

// Installs the quiet handler and makes the application object once.
inline void initQt()
{
    qInstallMessageHandler(quietHandler);
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* app = new QCoreApplication(argc, argv);
    (void)app;
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
