#include "input/form.h"

#include "input/debug_lines.h"
#include "input/params.h"

namespace {

/* False when there are too many. */
bool store_pair(Span pair, array *params, DebugLines &lines)
{
    const Span key = up_to(pair, '=');
    if (key.length == pair.length) return true;
    const void *last = memrchr(pair.data, '=', pair.length);
    const Span value =
        rest_of(pair, static_cast<size_t>(static_cast<const char *>(last) - pair.data) + 1);
    if (!store_parameter(params, key, value)) return false;
    add_pair(lines, key, value);
    return true;
}

bool store_pairs(Span pairs, array *params, DebugLines &lines)
{
    bool stored = true;
    for (;;) {
        const Span pair = up_to(pairs, '&');
        stored = store_pair(pair, params, lines) && stored;
        if (pair.length == pairs.length) return stored;
        pairs = rest_of(pairs, pair.length + 1);
    }
}

} // namespace

int parse_urlencoded_chunk(const buffer *content, array *params)
{
    if (!content || !params) return -1;
    Span text = {content->ptr, content->used > 0 ? content->used - 1 : 0};
    DebugLines lines;
    add_content(lines, up_to(text, '\0'));
    bool stored = true;
    for (;;) {
        /* A NUL ends a pair like '&'. */
        const Span pairs = up_to(text, '\0');
        stored = store_pairs(pairs, params, lines) && stored;
        if (pairs.length == text.length) break;
        text = rest_of(text, pairs.length + 1);
    }
    flush(lines);
    return stored ? 0 : 1;
}
