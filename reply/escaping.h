/* Shared by the two ways of escaping: by vectors, where the target has some, and
 * by words. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__) || defined(__ARM_NEON)
#define ESCAPE_BY_VECTORS
#endif

/* The number of bytes before the first NUL or special character. */
size_t plain_bytes(const char *text, size_t width);

inline size_t length_between(const char *begin, const char *end)
{
    return static_cast<size_t>(end - begin);
}

inline bool is_entity(char c)
{
    return c == '<' || c == '>';
}

inline bool is_special(char c)
{
    return is_entity(c) || c == '"' || c == '\\';
}

/* Writes the replacement of a special character. */
inline char *put_replacement(char *out, char c)
{
    if (is_entity(c)) {
        memcpy(out, c == '<' ? "&lt;" : "&gt;", 4);
        return out + 4;
    }
    out[0] = '\\';
    out[1] = c;
    return out + 2;
}

/* Writes a character, escaped. False, and nothing is written, when it does not
 * fit whole. */
inline bool put_one(char *&out, const char *out_end, char c)
{
    const size_t length = is_entity(c) ? 4 : is_special(c) ? 2 : 1;
    if (length > length_between(out, out_end)) return false;
    if (length > 1) {
        out = put_replacement(out, c);
    } else {
        *out++ = c;
    }
    return true;
}
