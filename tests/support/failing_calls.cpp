#include "tests/support/failing_calls.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

const char *failing_name; /* null: nothing fails, nothing is counted */
int failing_nth;
bool failing_on;
int calls_made;

bool fails(const char *name, int error)
{
    if (!failing_name || strcmp(name, failing_name) != 0) return false;
    ++calls_made;
    const bool now =
        failing_nth > 0 && (calls_made == failing_nth || (failing_on && calls_made > failing_nth));
    if (now) errno = error;
    return now;
}

} // namespace

void (*after_send)();
bool skip_pauses;

FailingCall::FailingCall(const std::string &name, int nth, bool from_then_on)
{
    static std::string kept;
    kept = name;
    calls_made = 0;
    failing_nth = nth;
    failing_on = from_then_on;
    failing_name = kept.c_str();
}

FailingCall::~FailingCall()
{
    failing_name = nullptr;
}

int FailingCall::calls() const
{
    return calls_made;
}

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
WRAP(int, "socket", socket, EMFILE, -1, (int family, int type, int protocol),
     (family, type, protocol))
WRAP(int, "fcntl", fcntl64, EINVAL, -1, (int fd, int command, long argument),
     (fd, command, argument))
WRAP(int, "connect", connect, EAGAIN, -1, (int fd, const sockaddr *to, socklen_t length),
     (fd, to, length))
WRAP(ssize_t, "recv", recv, EIO, -1, (int fd, void *bytes, size_t count, int flags),
     (fd, bytes, count, flags))
WRAP(int, "open", open64, EMFILE, -1, (const char *path, int flags, mode_t mode),
     (path, flags, mode))
WRAP(int, "openat", openat64, ENOSPC, -1, (int at, const char *path, int flags, mode_t mode),
     (at, path, flags, mode))
WRAP(void *, "mmap", mmap64, ENOMEM, MAP_FAILED,
     (void *at, size_t length, int protection, int flags, int fd, off_t offset),
     (at, length, protection, flags, fd, offset))
WRAP(ssize_t, "write", write, ENOSPC, -1, (int fd, const void *bytes, size_t count),
     (fd, bytes, count))
WRAP(int, "unlinkat", unlinkat, EACCES, -1, (int at, const char *path, int flags),
     (at, path, flags))

ssize_t __real_send(int fd, const void *bytes, size_t count, int flags);
ssize_t __wrap_send(int fd, const void *bytes, size_t count, int flags)
{
    if (fails("send", EPIPE)) return -1;
    const ssize_t sent = __real_send(fd, bytes, count, flags);
    if (after_send && sent > 0) after_send();
    return sent;
}

int __real_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout);
int __wrap_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout)
{
    if (skip_pauses && count == 0) return 0;
    if (fails("select", EBADF)) return -1;
    if (fails("timeout", 0)) return 0;
    return __real_select(count, read, write, except, timeout);
}

/* The descriptor is gone all the same, as Linux has it. */
int __real_close(int fd);
int __wrap_close(int fd)
{
    const int result = __real_close(fd);
    return fails("close", EIO) ? -1 : result;
}
}
