#include "input/debug_lines.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

/* Nobody can be told that standard error is gone. */
void write_all(Span text)
{
    while (text.length > 0) {
        const ssize_t written = write(STDERR_FILENO, text.data, text.length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text.data += written;
        text.length -= static_cast<size_t>(written);
    }
}

/* Where a line of this length goes; null when it is longer than all the room. */
char *room_for(DebugLines &lines, size_t length)
{
    if (length > sizeof(lines.bytes) - lines.used) flush(lines);
    if (length > sizeof(lines.bytes)) return nullptr;
    char *at = lines.bytes + lines.used;
    lines.used += length;
    return at;
}

char *put(char *at, Span text)
{
    memcpy(at, text.data, text.length);
    return at + text.length;
}

/* For literals: inline, they cost no calls. */
inline Span span(const char *text)
{
    return {text, strlen(text)};
}

} // namespace

void flush(DebugLines &lines)
{
    write_all({lines.bytes, lines.used});
    lines.used = 0;
}

void add_content(DebugLines &lines, Span content)
{
    char *at = room_for(lines, strlen("content=\n") + content.length);
    if (at) {
        put(put(put(at, span("content=")), content), span("\n"));
    } else {
        write_all(span("content="));
        write_all(content);
        write_all(span("\n"));
    }
}

void add_pair(DebugLines &lines, Span key, Span value)
{
    char *at = room_for(lines, strlen("key=, value=\n") + key.length + value.length);
    if (at) {
        at = put(put(at, span("key=")), key);
        put(put(put(at, span(", value=")), value), span("\n"));
    } else {
        write_all(span("key="));
        write_all(key);
        write_all(span(", value="));
        write_all(value);
        write_all(span("\n"));
    }
}
