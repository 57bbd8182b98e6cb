#ifndef CONTROLSOCKET_H
#define CONTROLSOCKET_H

// The simulator's control channel: a UNIX stream socket that takes one
// command per line from any number of clients and writes back the answer
// that the handler gives for it.

#include <functional>
#include <string>
#include <vector>

class ControlSocket
{
public:
    using Handler = std::function<std::string(const std::string& line)>;

    ~ControlSocket();

    // Listens on `path` (a stale socket there is replaced). False with
    // `error` set when it cannot.
    bool listen(const std::string& path, std::string& error);
    // Adds the descriptors to wait on to `watch`.
    void watch(const std::function<void(int fd)>& watch) const;
    // Serves the descriptors that `isReady` reports readable.
    void serve(const std::function<bool(int fd)>& isReady, const Handler& handler);

private:
    struct Client { int fd; std::string pending; bool overlong; };

    std::string m_path;
    int m_listenFd = -1;
    std::vector<Client> m_clients;
};

#endif // CONTROLSOCKET_H
