#include "simulator/listener.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

[[noreturn]] void give_up(const std::string &path, const std::string &problem)
{
    throw std::runtime_error(path + ": " + problem);
}

int unix_socket()
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) throw std::runtime_error(strerror(errno));
    return fd;
}

sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) give_up(path, "too long for a socket's path");
    std::copy(path.begin(), path.end(), address.sun_path);
    return address;
}

/* Whether a daemon listens there, even if it accepts no more clients just now. */
bool is_alive(const std::string &path)
{
    const sockaddr_un address = address_of(path);
    const int fd = unix_socket();
    const bool refused =
        connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) < 0 &&
        errno == ECONNREFUSED;
    close(fd);
    return !refused;
}

/* A descriptor that listens on a new socket file. */
int listen_on(const std::string &path)
{
    const sockaddr_un address = address_of(path);
    const int fd = unix_socket();
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) < 0 ||
        listen(fd, SOMAXCONN) < 0) {
        const int reason = errno;
        close(fd);
        give_up(path, strerror(reason));
    }
    /* A web server connects under a user of its own. */
    chmod(path.c_str(), 0666);
    return fd;
}

} // namespace

/* The file gets its name once the socket listens, so that no client that finds
 * it is refused. */
Listener::Listener(const std::string &path) : path_(path), fd_(-1)
{
    if (lstat(path.c_str(), &file_) == 0) {
        if (!S_ISSOCK(file_.st_mode)) give_up(path, "this is a file, and not a socket");
        if (is_alive(path)) give_up(path, "a running daemon is already listening there");
    }
    const std::string unnamed = path + "." + std::to_string(getpid());
    unlink(unnamed.c_str());
    fd_ = listen_on(unnamed);
    if (rename(unnamed.c_str(), path.c_str()) != 0) {
        const int reason = errno;
        unlink(unnamed.c_str());
        close(fd_);
        give_up(path, strerror(reason));
    }
    lstat(path.c_str(), &file_);
}

Listener::~Listener()
{
    close(fd_);
    struct stat now = {}; /* by now, the path may be another daemon's */
    if (lstat(path_.c_str(), &now) == 0 && now.st_ino == file_.st_ino) unlink(path_.c_str());
}

int Listener::accept_client() const
{
    return accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
}
