/* Text that is written into a fixed room and cut there, as snprintf does. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

struct Text {
    char *begin;
    char *at;  /* where the next character goes */
    char *end; /* no room from here on, but for the NUL */
};

/* A text in `size` bytes. */
inline Text text_in(char *data, size_t size)
{
    return {data, data, data + size - 1};
}

inline size_t room_in(const Text &text)
{
    return static_cast<size_t>(text.end - text.at);
}

inline void append(Text &text, const char *bytes, size_t count)
{
    const size_t stored = count <= room_in(text) ? count : room_in(text);
    memcpy(text.at, bytes, stored);
    text.at += stored;
}

inline void append(Text &text, const char *literal)
{
    append(text, literal, strlen(literal));
}

/* Ends the stored text with a NUL and returns its length. */
inline uint32_t finish(Text &text)
{
    *text.at = '\0';
    return static_cast<uint32_t>(text.at - text.begin);
}

/* Write a decimal to `out` as %d, %llu and %.1f do, and return where it ends.
 * There is room for 11, 20 and 44 characters. */
char *put_int(char *out, int32_t value);
char *put_uint(char *out, uint64_t value);
char *put_tenths(char *out, double value);
