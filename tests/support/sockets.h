/* Sockets of the tests' own. */
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

inline sockaddr_un unix_address(const std::string &path)
{
    sockaddr_un address = {AF_UNIX, {}};
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

inline sockaddr_in loopback_address(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/* Of SOCK_STREAM or SOCK_DGRAM. */
inline int unix_socket(int type)
{
    return socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
}

inline bool bind_to(int fd, const std::string &path)
{
    const sockaddr_un address = unix_address(path);
    return bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
}

inline bool connect_to(int fd, const std::string &path)
{
    const sockaddr_un address = unix_address(path);
    return connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
}

/* Connected to the port on this machine, or -1. */
inline int connect_to(int port)
{
    const sockaddr_in address = loopback_address(port);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0) return fd;
    close(fd);
    return -1;
}

inline int free_port()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback_address(0);
    socklen_t length = sizeof(address);
    sockaddr *const at = reinterpret_cast<sockaddr *>(&address);
    if (bind(fd, at, length) != 0 || getsockname(fd, at, &length) != 0)
        throw std::runtime_error("no free port");
    close(fd);
    return ntohs(address.sin_port);
}
