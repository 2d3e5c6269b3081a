#include "input/debug_lines.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

/* Nobody can be told that standard error is gone. */
void write_all(const char *text, size_t length)
{
    while (length > 0) {
        const ssize_t written = write(STDERR_FILENO, text, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text += written;
        length -= static_cast<size_t>(written);
    }
}

} // namespace

void flush(DebugLines &lines)
{
    write_all(lines.bytes, lines.used);
    lines.used = 0;
}

void add(DebugLines &lines, const char *text, size_t length)
{
    if (length > sizeof(lines.bytes) - lines.used) flush(lines);
    if (length > sizeof(lines.bytes)) {
        write_all(text, length);
        return;
    }
    memcpy(lines.bytes + lines.used, text, length);
    lines.used += length;
}
