#include "tests/support/failing_calls.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace {

const char *failing_name; /* null: nothing fails, nothing is counted */
int failing_nth;
bool failing_on;
int calls_made;

bool same(const char *a, const char *b)
{
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

bool fails(const char *name, int error)
{
    if (!failing_name || !same(name, failing_name)) return false;
    ++calls_made;
    const bool now =
        failing_nth > 0 && (calls_made == failing_nth || (failing_on && calls_made > failing_nth));
    if (now) errno = error;
    return now;
}

} // namespace

void (*after_send)();
bool skip_pauses;

const std::vector<std::string> &failing_call_names()
{
    static const std::vector<std::string> names = {
        "malloc", "calloc",  "realloc", "socket", "fcntl", "connect", "send",     "recv",
        "select", "timeout", "open",    "openat", "mmap",  "write",   "unlinkat", "close"};
    return names;
}

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

/* With a 64-bit off_t the C library calls some of these by a second name. */
extern "C" {

void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size)
{
    return fails("malloc", ENOMEM) ? nullptr : __real_malloc(size);
}

void *__real_calloc(size_t count, size_t size);
void *__wrap_calloc(size_t count, size_t size)
{
    return fails("calloc", ENOMEM) ? nullptr : __real_calloc(count, size);
}

void *__real_realloc(void *old, size_t size);
void *__wrap_realloc(void *old, size_t size)
{
    return fails("realloc", ENOMEM) ? nullptr : __real_realloc(old, size);
}

int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol)
{
    return fails("socket", EMFILE) ? -1 : __real_socket(domain, type, protocol);
}

int __real_fcntl64(int fd, int command, ...);
int __wrap_fcntl64(int fd, int command, ...)
{
    va_list args;
    va_start(args, command);
    const long argument = va_arg(args, long);
    va_end(args);
    return fails("fcntl", EINVAL) ? -1 : __real_fcntl64(fd, command, argument);
}

int __real_connect(int fd, const sockaddr *address, socklen_t length);
int __wrap_connect(int fd, const sockaddr *address, socklen_t length)
{
    return fails("connect", EAGAIN) ? -1 : __real_connect(fd, address, length);
}

ssize_t __real_send(int fd, const void *bytes, size_t count, int flags);
ssize_t __wrap_send(int fd, const void *bytes, size_t count, int flags)
{
    if (fails("send", EPIPE)) return -1;
    const ssize_t sent = __real_send(fd, bytes, count, flags);
    if (after_send && sent > 0) after_send();
    return sent;
}

ssize_t __real_recv(int fd, void *bytes, size_t count, int flags);
ssize_t __wrap_recv(int fd, void *bytes, size_t count, int flags)
{
    return fails("recv", EIO) ? -1 : __real_recv(fd, bytes, count, flags);
}

int __real_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout);
int __wrap_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout)
{
    if (skip_pauses && count == 0) return 0;
    if (fails("select", EBADF)) return -1;
    if (fails("timeout", 0)) return 0;
    return __real_select(count, read, write, except, timeout);
}

int __real_open64(const char *path, int flags, ...);
int __wrap_open64(const char *path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    return fails("open", EMFILE) ? -1 : __real_open64(path, flags, mode);
}

int __real_openat64(int directory, const char *path, int flags, ...);
int __wrap_openat64(int directory, const char *path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    return fails("openat", ENOSPC) ? -1 : __real_openat64(directory, path, flags, mode);
}

void *__real_mmap64(void *at, size_t length, int protection, int flags, int fd, off_t offset);
void *__wrap_mmap64(void *at, size_t length, int protection, int flags, int fd, off_t offset)
{
    return fails("mmap", ENOMEM) ? MAP_FAILED
                                 : __real_mmap64(at, length, protection, flags, fd, offset);
}

ssize_t __real_write(int fd, const void *bytes, size_t count);
ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    return fails("write", ENOSPC) ? -1 : __real_write(fd, bytes, count);
}

int __real_unlinkat(int directory, const char *path, int flags);
int __wrap_unlinkat(int directory, const char *path, int flags)
{
    return fails("unlinkat", EACCES) ? -1 : __real_unlinkat(directory, path, flags);
}

/* The descriptor is gone all the same, as Linux has it. */
int __real_close(int fd);
int __wrap_close(int fd)
{
    const int result = __real_close(fd);
    return fails("close", EIO) ? -1 : result;
}
}
