#include "simulator/listener.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        give_up(path, "a socket's path has from 1 to 107 characters");
    }
    std::copy(path.begin(), path.end(), address.sun_path);
    return address;
}

/* Whether somebody listens there. A full backlog is somebody, too. */
bool is_alive(const sockaddr *address, socklen_t size)
{
    const int fd = unix_socket();
    const bool refused = connect(fd, address, size) < 0 && errno == ECONNREFUSED;
    close(fd);
    return !refused;
}

} // namespace

Listener::Listener(const std::string &path) : path_(path), fd_(-1)
{
    const sockaddr_un unix_address = address_of(path);
    const sockaddr *address = reinterpret_cast<const sockaddr *>(&unix_address);
    if (lstat(path.c_str(), &file_) == 0) {
        if (!S_ISSOCK(file_.st_mode)) give_up(path, "this is a file, and not a socket");
        if (is_alive(address, sizeof(unix_address))) {
            give_up(path, "a running daemon is already listening there");
        }
        unlink(path.c_str());
    }
    fd_ = unix_socket();
    if (bind(fd_, address, sizeof(unix_address)) < 0 || listen(fd_, SOMAXCONN) < 0) {
        const int reason = errno;
        close(fd_);
        give_up(path, strerror(reason));
    }
    /* A web server connects under a user of its own. */
    chmod(path.c_str(), 0666);
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
