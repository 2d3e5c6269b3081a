/* Files in the upload directory. Whatever already has a file's name, a link, a
 * device or a FIFO too, is removed and never followed. Where it cannot be
 * removed, a regular file without other names is emptied and written. */
#pragma once

#include <cstddef>

constexpr char UPLOAD_DIRECTORY[] = "/mnt/data/";

struct UploadFile {
    int directory; /* open along with the file, -1 when there is none */
    int fd;
    const char *name;
};

constexpr UploadFile NO_UPLOAD = {-1, -1, nullptr};

/* Each returns 0, or the errno of what failed; a file that failed is removed
 * and closed. Writing and closing do nothing when no file is open. */

/* Creates an empty file. `name` is one path component, neither "." nor "..",
 * and stays in place until the file is closed. */
int upload_open(UploadFile *file, const char *name);
int upload_write(UploadFile *file, const char *data, size_t length);
int upload_close(UploadFile *file);

/* Closes and removes the file, if one is open. */
void upload_discard(UploadFile *file);
