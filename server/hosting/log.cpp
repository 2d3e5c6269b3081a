#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "server/hosting/hosting.h"
#include "server/hosting/memory.h"

namespace {

LogSink *log_sink;
int log_fd = STDERR_FILENO;
buffer items; /* of the line being made; its storage is kept */
buffer whole_line;

[[gnu::destructor]] void free_lines()
{
    free(items.ptr);
    free(whole_line.ptr);
}

void append(buffer &out, std::string_view text)
{
    buffer_append_string_len(&out, text.data(), text.size());
}

bool is_plain(char c)
{
    return c >= 0x20 && c < 0x7f;
}

void append_escape(buffer &out, char c)
{
    char escape[5];
    switch (c) {
        case '\n': append(out, "\\n"); break;
        case '\r': append(out, "\\r"); break;
        case '\t': append(out, "\\t"); break;
        default:
            snprintf(escape, sizeof(escape), "\\x%02x", static_cast<unsigned char>(c));
            append(out, escape);
    }
}

void append_escaped(buffer &out, std::string_view text)
{
    while (!text.empty()) {
        size_t plain = 0;
        while (plain < text.size() && is_plain(text[plain])) ++plain;
        append(out, {text.data(), plain});
        if (plain == text.size()) return;
        append_escape(out, text[plain]);
        text.remove_prefix(plain + 1);
    }
}

void append_number(buffer &out, int number)
{
    char digits[12];
    snprintf(digits, sizeof(digits), "%d", number);
    append(out, digits);
}

void append_items(buffer &out, const char *fmt, va_list args)
{
    for (; *fmt; ++fmt) {
        switch (*fmt) {
            case 's': {
                const char *text = va_arg(args, const char *);
                if (text) append_escaped(out, text);
                break;
            }
            case 'b': {
                const buffer *text = va_arg(args, const buffer *);
                if (text) append_escaped(out, text_of(*text));
                break;
            }
            case 'd': append_number(out, va_arg(args, int)); break;
            default: continue;
        }
        append(out, " ");
    }
}

void write_line(const char *label, unsigned line, std::string_view text)
{
    char time_text[32], number[16];
    const time_t now = time(nullptr);
    tm parts;
    strftime(time_text, sizeof(time_text), "%Y-%m-%d %H:%M:%S", localtime_r(&now, &parts));
    snprintf(number, sizeof(number), ".%u) ", line);
    assign(whole_line, time_text);
    append(whole_line, ": (");
    append(whole_line, label);
    append(whole_line, number);
    append(whole_line, text);
    append(whole_line, "\n");
    const char *rest = whole_line.ptr;
    for (size_t left = whole_line.used - 1; left > 0;) {
        const ssize_t written = write(log_fd, rest, left);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        rest += written;
        left -= static_cast<size_t>(written);
    }
}

} // namespace

void hosted_log_to(LogSink *sink)
{
    log_sink = sink;
}

void hosted_log_to_fd(int fd)
{
    log_sink = nullptr;
    log_fd = fd;
}

int log_error_write(server *srv, const char *filename, unsigned int line, const char *fmt, ...)
{
    if (!log_sink && log_fd == -1) return 0;
    assign(items, "");
    va_list args;
    va_start(args, fmt);
    append_items(items, fmt, args);
    va_end(args);
    if (log_sink) {
        log_sink(srv, filename, line, items.ptr);
    } else {
        write_line(filename, line, text_of(items));
    }
    return 0;
}
