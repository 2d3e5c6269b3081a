#include "input/form.h"

#include <cstring>

#include "input/debug_lines.h"

namespace {

struct Span {
    const char *data;
    size_t length;
};

Span rest_of(Span text, size_t from)
{
    return {text.data + from, text.length - from};
}

/* The bytes before the first `c`, or all of them. */
Span up_to(Span text, char c)
{
    const void *found = memchr(text.data, c, text.length);
    return {text.data, found ? static_cast<size_t>(static_cast<const char *>(found) - text.data)
                             : text.length};
}

Span body_bytes(const chunk *c)
{
    const size_t used = c->mem->used > 0 ? c->mem->used - 1 : 0;
    const size_t offset = static_cast<size_t>(c->offset);
    return offset < used ? Span{c->mem->ptr + offset, used - offset} : Span{"", 0};
}

/* What follows request headers, where there are any in front of the first NUL. */
Span skip_headers(Span text)
{
    const Span before_nul = up_to(text, '\0');
    const void *found = memmem(before_nul.data, before_nul.length, "\r\n\r\n", 4);
    if (!found) return text;
    return rest_of(text, static_cast<size_t>(static_cast<const char *>(found) - text.data) + 4);
}

void store_pair(Span pair, array *params, DebugLines &lines)
{
    const Span key = up_to(pair, '=');
    if (key.length == pair.length) return;
    const void *last = memrchr(pair.data, '=', pair.length);
    const Span value =
        rest_of(pair, static_cast<size_t>(static_cast<const char *>(last) - pair.data) + 1);
    array_set_key_value(params, key.data, key.length, value.data, value.length);
    add(lines, "key=", 4);
    add(lines, key.data, key.length);
    add(lines, ", value=", 8);
    add(lines, value.data, value.length);
    add(lines, "\n", 1);
}

/* Stores a pair whose end was found, with what earlier chunks held of it. */
void end_pair(Span pair, array *params, buffer *carried, DebugLines &lines)
{
    if (carried->used <= 1) {
        store_pair(pair, params, lines);
        return;
    }
    buffer_append_string_len(carried, pair.data, pair.length);
    store_pair({carried->ptr, carried->used - 1}, params, lines);
    buffer_reset(carried);
}

/* A NUL ends a pair like '&'. */
Span up_to_separator(Span text)
{
    return up_to(up_to(text, '&'), '\0');
}

} // namespace

int parse_urlencoded_chunk(const chunk *c, bool is_first, array *params, buffer *carried)
{
    if (!c || !c->mem || !params || !carried) return -1;
    Span text = body_bytes(c);
    if (is_first && c->offset == 0) text = skip_headers(text);

    DebugLines lines;
    const Span content = up_to(text, '\0');
    add(lines, "content=", 8);
    add(lines, content.data, content.length);
    add(lines, "\n", 1);

    for (;;) {
        const Span pair = up_to_separator(text);
        if (pair.length == text.length) break;
        end_pair(pair, params, carried, lines);
        text = rest_of(text, pair.length + 1);
    }
    buffer_append_string_len(carried, text.data, text.length);
    flush(lines);
    return 0;
}

void finish_urlencoded(array *params, buffer *carried)
{
    DebugLines lines;
    end_pair({"", 0}, params, carried, lines);
    flush(lines);
}
