#include "input/form.h"

#include <cstring>

#include "input/debug_lines.h"

namespace {

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
    const Span line = up_to(before_nul, '\r'); /* few forms have a line end: the quicker search */
    const Span rest = rest_of(before_nul, line.length);
    const void *found = memmem(rest.data, rest.length, "\r\n\r\n", 4);
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
    add_pair(lines, key, value);
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

} // namespace

int parse_urlencoded_chunk(const chunk *c, bool is_first, array *params, buffer *carried)
{
    if (!c || !c->mem || !params || !carried) return -1;
    Span text = body_bytes(c);
    if (is_first && c->offset == 0) text = skip_headers(text);

    DebugLines lines;
    Span content = up_to(text, '\0');
    add_content(lines, content);

    /* A NUL ends a pair like '&': `content` reaches up to the next one. */
    for (;;) {
        const Span pair = up_to(content, '&');
        if (pair.length == text.length) break;
        end_pair(pair, params, carried, lines);
        text = rest_of(text, pair.length + 1);
        content =
            pair.length < content.length ? rest_of(content, pair.length + 1) : up_to(text, '\0');
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
