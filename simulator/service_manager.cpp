#include "simulator/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>

/* Nobody can be told when this fails, and the daemon does as well without. */
void tell_service_manager(const std::string &lines)
{
    const char *variable = getenv("NOTIFY_SOCKET");
    const std::string path = variable ? variable : "";
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) return;
    path.copy(address.sun_path, path.size());
    if (path[0] == '@') address.sun_path[0] = '\0'; /* a name outside the file system */
    const socklen_t length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return;
    sendto(fd, lines.data(), lines.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
           reinterpret_cast<const sockaddr *>(&address), length);
    close(fd);
}
