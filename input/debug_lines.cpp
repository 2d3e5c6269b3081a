#include "input/debug_lines.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace {

/* A pipe or a socket that is ready takes as much as this without waiting. */
static_assert(sizeof(DebugLines::bytes) <= PIPE_BUF);

bool standard_error_has_room()
{
    pollfd out = {STDERR_FILENO, POLLOUT, 0};
    return poll(&out, 1, 0) == 1 && (out.revents & POLLOUT) != 0;
}

/* Adds bytes of any length. */
void add(DebugLines &lines, Span text)
{
    while (text.length > 0) {
        if (lines.used == sizeof(lines.bytes)) flush(lines);
        const size_t room = sizeof(lines.bytes) - lines.used;
        const size_t count = text.length < room ? text.length : room;
        memcpy(lines.bytes + lines.used, text.data, count);
        lines.used += count;
        text = rest_of(text, count);
    }
}

/* Room for a line of this length in one piece; null when it is longer than the
 * buffer. */
char *room_for(DebugLines &lines, size_t length)
{
    if (length > sizeof(lines.bytes)) return nullptr;
    if (length > sizeof(lines.bytes) - lines.used) flush(lines);
    char *at = lines.bytes + lines.used;
    lines.used += length;
    return at;
}

char *put(char *at, Span text)
{
    memcpy(at, text.data, text.length);
    return at + text.length;
}

} // namespace

/* There is nowhere to report that standard error is closed or full. */
void flush(DebugLines &lines)
{
    Span text = {lines.bytes, lines.used};
    lines.used = 0;
    while (text.length > 0 && standard_error_has_room()) {
        const ssize_t written = write(STDERR_FILENO, text.data, text.length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text = rest_of(text, static_cast<size_t>(written));
    }
}

void add_content(DebugLines &lines, Span content)
{
    add(lines, span_of("content="));
    add(lines, content);
    add(lines, span_of("\n"));
}

/* A form has many of these: putting each in one piece takes fewer calls. */
void add_pair(DebugLines &lines, Span key, Span value)
{
    const size_t length = strlen("key=, value=\n") + key.length + value.length;
    if (char *at = room_for(lines, length)) {
        at = put(put(at, span_of("key=")), key);
        put(put(put(at, span_of(", value=")), value), span_of("\n"));
        return;
    }
    add(lines, span_of("key="));
    add(lines, key);
    add(lines, span_of(", value="));
    add(lines, value);
    add(lines, span_of("\n"));
}
