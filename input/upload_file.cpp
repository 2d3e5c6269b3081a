#include "input/upload_file.h"

#include <fcntl.h>
#include <linux/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace {

constexpr mode_t mode = 0644;

int discard_for(UploadFile *file, int error)
{
    upload_discard(file);
    return error;
}

/* Not by fstat, which would ask for a C library of 2021. */
bool has_other_names(int fd)
{
    struct statx status;
    return syscall(SYS_statx, fd, "", AT_EMPTY_PATH, STATX_NLINK, &status) != 0 ||
           status.stx_nlink != 1;
}

/* A regular file without other names, emptied; or -1. */
int open_emptied(int directory, const char *name)
{
    const int fd = openat(directory, name, O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd == -1) return -1;
    if (!has_other_names(fd) && ftruncate(fd, 0) == 0) return fd; /* no other kind can be cut */
    close(fd);
    return -1;
}

} // namespace

int upload_open(UploadFile *file, const char *name)
{
    *file = {open(UPLOAD_DIRECTORY, O_PATH | O_DIRECTORY | O_CLOEXEC), -1, name};
    if (file->directory == -1) return errno;
    if (unlinkat(file->directory, name, 0) == 0 || errno == ENOENT) {
        constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
        file->fd = openat(file->directory, name, flags, mode);
        return file->fd == -1 ? discard_for(file, errno) : 0;
    }
    const int error = errno;
    file->fd = open_emptied(file->directory, name);
    return file->fd == -1 ? discard_for(file, error) : 0;
}

int upload_write(UploadFile *file, const char *data, size_t length)
{
    if (file->fd == -1) return 0;
    while (length > 0) {
        const ssize_t written = write(file->fd, data, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return discard_for(file, written < 0 ? errno : EIO);
        data += written;
        length -= static_cast<size_t>(written);
    }
    return 0;
}

int upload_close(UploadFile *file)
{
    if (file->fd == -1) return 0;
    const int error = close(file->fd) == 0 ? 0 : errno;
    file->fd = -1;
    if (error != 0) unlinkat(file->directory, file->name, 0);
    upload_discard(file);
    return error;
}

void upload_discard(UploadFile *file)
{
    if (file->fd != -1) {
        /* What cannot be removed is left empty, and not half written. */
        [[maybe_unused]] const bool gone =
            unlinkat(file->directory, file->name, 0) == 0 || ftruncate(file->fd, 0) == 0;
        close(file->fd);
    }
    if (file->directory != -1) close(file->directory);
    file->directory = file->fd = -1;
}
