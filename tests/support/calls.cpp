#include "tests/support/calls.h"

#include <fcntl.h>
#include <sanitizer/asan_interface.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "sysmng/plugin_data.h"

namespace {

bool fails(const char *name, int error)
{
    const FailingCall *failing = FailingCall::current;
    if (!failing || strcmp(failing->name, name) != 0) return false;
    const int n = ++FailingCall::calls;
    if (n != failing->nth && (n < failing->nth || !failing->from_then_on)) return false;
    errno = error;
    return true;
}

} // namespace

/* A call that passes its arguments on unless it is to fail. With a 64-bit off_t
 * the C library calls some of them by a second name. */
#define WRAP(type, name, call, error, failure, parameters, arguments)    \
    type __real_##call parameters;                                       \
    type __wrap_##call parameters                                        \
    {                                                                    \
        return fails(name, error) ? (failure) : __real_##call arguments; \
    }

extern "C" {

WRAP(void *, "malloc", malloc, ENOMEM, nullptr, (size_t size), (size))
WRAP(void *, "calloc", calloc, ENOMEM, nullptr, (size_t count, size_t size), (count, size))
WRAP(void *, "realloc", realloc, ENOMEM, nullptr, (void *old, size_t size), (old, size))
WRAP(long, "syscall", syscall, EINVAL, -1, (long number, long a, long b, long c, long d, long e),
     (number, a, b, c, d, e))
WRAP(int, "open", open64, EMFILE, -1, (const char *path, int flags, mode_t mode),
     (path, flags, mode))
WRAP(void *, "mmap", mmap64, ENOMEM, MAP_FAILED,
     (void *at, size_t length, int protection, int flags, int fd, off_t offset),
     (at, length, protection, flags, fd, offset))
WRAP(int, "unlinkat", unlinkat, EACCES, -1, (int at, const char *path, int flags),
     (at, path, flags))

/* Uploads, which stay in their directory. */
int __real_openat64(int at, const char *path, int flags, mode_t mode);
int __wrap_openat64(int at, const char *path, int flags, mode_t mode)
{
    if (strchr(path, '/') || strcmp(path, "..") == 0) abort();
    return fails("openat", ENOSPC) ? -1 : __real_openat64(at, path, flags, mode);
}

/* The descriptor is gone all the same, as Linux has it. */
int __real_close(int fd);
int __wrap_close(int fd)
{
    const int result = __real_close(fd);
    return fails("close", EIO) ? -1 : result;
}

ssize_t __real_write(int fd, const void *bytes, size_t count);
ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    if (fails("write", ENOSPC)) return -1;
    if (interrupted_writes > 0) {
        --interrupted_writes;
        errno = EINTR;
        return -1;
    }
    if (fd == STDERR_FILENO) {
        count = std::min(count, longest_write);
        debug_output.append(static_cast<const char *>(bytes), count);
        return static_cast<ssize_t>(count);
    }
    errno = ENOSPC;
    if (room_on_disk == 0) return -1;
    const ssize_t written = __real_write(fd, bytes, std::min({count, longest_write, room_on_disk}));
    if (room_on_disk != SIZE_MAX) room_on_disk -= static_cast<size_t>(written);
    return written;
}

int __wrap_poll(pollfd *files, nfds_t, int)
{
    files->revents = debug_events;
    return debug_events != 0;
}

/* The module gets one end of a pair, and the daemon the other. */
int __wrap_socket(int family, int type, int protocol)
{
    int ends[2];
    if (fails("socket", EMFILE) || socketpair(family, type, protocol, ends) != 0) return -1;
    the_daemon.fd = ends[1];
    return ends[0];
}

int __wrap_connect(int, const sockaddr *to, socklen_t)
{
    const char *const path = reinterpret_cast<const sockaddr_un *>(to)->sun_path;
    const bool exists = strcmp(path, "/tmp/sysmng_web_plugin.socket") == 0;
    if (exists && !fails("connect", EAGAIN)) return 0;
    the_daemon.closes();
    return -1;
}

ssize_t __real_recv(int fd, void *bytes, size_t count, int flags);
ssize_t __wrap_recv(int fd, void *bytes, size_t count, int flags)
{
    if (the_daemon.floods) the_daemon.sends(std::string(count, 'x'));
    if (fails("recv", EIO)) return -1;
    auto *const at = static_cast<uint8_t *>(bytes);
    const uint8_t *const end = guarded ? guarded->msg_buf + guarded->msg_buf_size : nullptr;
    const bool is_reply = guarded && at >= guarded->msg_buf && at < end;
    if (is_reply) ASAN_UNPOISON_MEMORY_REGION(at, count);
    const ssize_t got = __real_recv(fd, bytes, count, flags);
    if (is_reply && got > 0)
        ASAN_POISON_MEMORY_REGION(at + got, static_cast<size_t>(end - at - got));
    return got;
}

ssize_t __real_send(int fd, const void *bytes, size_t count, int flags);
ssize_t __wrap_send(int fd, const void *bytes, size_t count, int flags)
{
    if (fails("send", EPIPE)) return -1;
    const ssize_t sent = __real_send(fd, bytes, count, flags);
    if (sent <= 0) return sent;
    std::string message(static_cast<size_t>(sent), '\0');
    __real_recv(the_daemon.fd, message.data(), message.size(), MSG_WAITALL);
    if (the_daemon.on_message) the_daemon.on_message(message);
    return sent;
}

/* Time passes here alone, up to what comes next or to the end of the wait. */
int __real_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout);
int __wrap_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout)
{
    if (fails("select", EBADF)) return -1;
    const auto ready = [=] {
        fd_set set = *read;
        timeval none = {0, 0};
        return __real_select(count, &set, write, except, &none);
    };
    if (const int now = ready()) return now;
    const int64_t wait_us = timeout->tv_sec * 1000000 + timeout->tv_usec;
    std::deque<Late> &later = the_daemon.later;
    const int64_t passed_us = later.empty() ? wait_us : std::min(wait_us, later[0].pause_us);
    clock_us += passed_us;
    *timeout = {static_cast<time_t>((wait_us - passed_us) / 1000000),
                static_cast<suseconds_t>((wait_us - passed_us) % 1000000)};
    if (later.empty() || (later[0].pause_us -= passed_us) > 0) return 0;
    const std::string bytes = later[0].bytes;
    later.pop_front();
    errno = EINTR;
    if (bytes.empty()) return -1;
    the_daemon.sends(bytes);
    return ready();
}

int __wrap_clock_gettime(clockid_t, timespec *now)
{
    *now = {static_cast<time_t>(clock_us / 1000000), static_cast<long>(clock_us % 1000000 * 1000)};
    return 0;
}

time_t __wrap_time(time_t *)
{
    return fixed_time;
}
}

void Daemon::sends(const std::string &bytes) const
{
    __real_send(fd, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

void Daemon::closes()
{
    if (fd != -1) __real_close(fd);
    fd = -1;
}

/* One call tells of most; what is open as a path alone looks closed to it. */
uint32_t open_descriptors()
{
    pollfd files[32];
    for (int fd = 0; fd < 32; ++fd) files[fd] = {fd, 0, 0};
    const timespec now = {};
    ppoll(files, 32, &now, nullptr);
    uint32_t open = 0;
    for (const pollfd &file : files)
        open = open << 1 | (!(file.revents & POLLNVAL) || fcntl(file.fd, F_GETFD) != -1);
    return open;
}
