#ifndef FUZZSUPPORT_H
#define FUZZSUPPORT_H

// Shared by the fuzz targets: a quiet Qt (the code under test logs every
// refusal, which would drown the fuzzer's output), an application object,
// and a check that turns a broken property into a crash the fuzzer records.

#include <QCoreApplication>
#include <QFile>

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

// Replaces the file at `path` with the given bytes.
inline void writeFile(const char* path, const void* data, size_t size)
{
    QFile file(QString::fromLatin1(path));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || file.write(static_cast<const char*>(data), qint64(size)) != qint64(size))
        std::abort();
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
