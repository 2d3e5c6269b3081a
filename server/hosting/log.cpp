#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "server/hosting/hosting.h"
#include "server/hosting/memory.h"

namespace {

LogSink *log_sink;
buffer items; /* of the line being made; its storage is kept */

[[gnu::destructor]] void free_items()
{
    free(items.ptr);
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

} // namespace

void hosted_log_to(LogSink *sink)
{
    log_sink = sink;
}

int log_error_write(server *srv, const char *filename, unsigned int line, const char *fmt, ...)
{
    if (!log_sink) return 0;
    assign(items, "");
    va_list args;
    va_start(args, fmt);
    append_items(items, fmt, args);
    va_end(args);
    log_sink(srv, filename, line, items.ptr);
    return 0;
}
