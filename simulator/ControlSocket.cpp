#include "ControlSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr size_t kMaxLine = 512;
constexpr size_t kMaxClients = 64;

void sendAll(int fd, const std::string& text)
{
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t n = ::send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (n <= 0)
            return;   // a client that stops reading loses its answer, nothing more
        sent += size_t(n);
    }
}

} // namespace

ControlSocket::~ControlSocket()
{
    for (const Client& c : m_clients)
        close(c.fd);
    if (m_listenFd >= 0) {
        close(m_listenFd);
        unlink(m_path.c_str());
    }
}

bool ControlSocket::listen(const std::string& path, std::string& error)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        error = "bad control socket path: " + path;
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    struct stat existing = {};
    if (lstat(path.c_str(), &existing) == 0 && S_ISSOCK(existing.st_mode))
        unlink(path.c_str());
    m_listenFd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_listenFd < 0 || bind(m_listenFd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0
            || ::listen(m_listenFd, 8) != 0) {
        error = "cannot listen on control socket " + path + " (" + std::strerror(errno) + ")";
        if (m_listenFd >= 0)
            close(m_listenFd);
        m_listenFd = -1;
        return false;
    }
    m_path = path;
    return true;
}

void ControlSocket::watch(const std::function<void(int fd)>& watch) const
{
    watch(m_listenFd);
    for (const Client& c : m_clients)
        watch(c.fd);
}

void ControlSocket::serve(const std::function<bool(int fd)>& isReady, const Handler& handler)
{
    if (m_listenFd >= 0 && isReady(m_listenFd)) {
        const int fd = accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0 && m_clients.size() >= kMaxClients)
            close(fd);
        else if (fd >= 0)
            m_clients.push_back({fd, {}, false});
    }
    for (size_t i = m_clients.size(); i > 0; --i) {
        Client& c = m_clients[i - 1];
        if (!isReady(c.fd))
            continue;
        char buffer[256];
        const ssize_t n = recv(c.fd, buffer, sizeof(buffer), 0);
        if (n <= 0) {
            close(c.fd);
            m_clients.erase(m_clients.begin() + long(i - 1));
            continue;
        }
        c.pending.append(buffer, size_t(n));
        for (;;) {
            const size_t end = c.pending.find('\n');
            if (end == std::string::npos) {
                // Memory stays bounded: the rest of an overlong line is dropped as it comes.
                if (c.pending.size() > kMaxLine) {
                    c.pending.clear();
                    c.overlong = true;
                }
                break;
            }
            std::string line = c.pending.substr(0, end);
            c.pending.erase(0, end + 1);
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            const bool overlong = c.overlong || line.size() > kMaxLine;
            c.overlong = false;
            sendAll(c.fd, overlong ? "ERR line too long\n" : handler(line) + "\n");
        }
    }
}
