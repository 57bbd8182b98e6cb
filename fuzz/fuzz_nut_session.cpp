// The NUT server's input side: a client's bytes answered logged in or not, and the bytes as users file.

#include "FakeUnits.h"
#include "FuzzSupport.h"
#include "NutLineParser.h"
#include "NutSession.h"
#include "NutUsers.h"

#include <cstdint>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::initQt();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    const QByteArray input(reinterpret_cast<const char*>(data + 2), int(size - 2));
    NutUsers users;
    QStringList problems;
    users.parse(input, &problems);
    users.parse("[a]\npassword=p\nactions=SET FSD\ninstcmds=ALL\nupsmon primary\n", &problems);
    FakeUnits units = FakeUnits::quoting();
    NutServerState state;
    {
        NutSession session(&units, &users, &state, "peer");
        // The second byte picks the read size and whether the client starts logged in.
        for (const char* line : {"USERNAME a", "PASSWORD p", "LOGIN UPS1"})
            FUZZ_CHECK(!(data[1] & 0x80) || session.handle(line) == "OK\n");
        NutLineParser parser(64 + data[0]);
        const int chunk = 1 + (data[1] & 0x3f);
        for (int at = 0; at < input.size() && !session.finished(); at += chunk) {
            parser.append(input.mid(at, chunk));
            QByteArray line;
            while (!session.finished() && parser.takeLine(&line)) {
                FUZZ_CHECK(line.size() <= 64 + data[0] && !line.contains('\n'));
                const QByteArray reply = session.handle(line);
                QStringList words;
                // A request with words gets whole lines back, and a list is closed.
                FUZZ_CHECK(NutLineParser::split(line, &words) && words.isEmpty() ? reply.isEmpty() : reply.endsWith('\n'));
                FUZZ_CHECK(!reply.startsWith("BEGIN LIST ") || reply.contains("\nEND LIST "));
            }
        }
    }
    FUZZ_CHECK(state.logins.isEmpty());
    return 0;
}
