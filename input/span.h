/* Some bytes of a body, in place. */
#pragma once

#include <cstddef>
#include <cstring>

struct Span {
    const char *data;
    size_t length;
};

inline Span span_of(const char *text)
{
    return {text, strlen(text)};
}

inline Span rest_of(Span text, size_t from)
{
    return {text.data + from, text.length - from};
}

/* The bytes before the first `c`, or all of them. */
inline Span up_to(Span text, char c)
{
    const void *found = memchr(text.data, c, text.length);
    return {text.data, found ? static_cast<size_t>(static_cast<const char *>(found) - text.data)
                             : text.length};
}

/* Where a text begins in another, or null. */
inline const char *find(Span text, Span wanted)
{
    return static_cast<const char *>(memmem(text.data, text.length, wanted.data, wanted.length));
}
