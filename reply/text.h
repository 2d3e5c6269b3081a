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

/* The number that a text begins with, after blanks and a sign; 0 without
 * digits. Out of range, the nearest int32, on every target. */
int32_t decimal_value(const char *text);

/* Write a decimal to `out` as %d, %llu and %.1f do, and return where it ends.
 * There is room for 11, 20 and 44 characters. */
inline char *put_int(char *out, int32_t value);
char *put_uint(char *out, uint64_t value);
char *put_tenths(char *out, double value);

/* "00" to "99". */
struct DigitPairs {
    char digits[200];
};

inline constexpr DigitPairs digit_pairs = [] {
    DigitPairs made = {};
    for (int i = 0; i < 100; ++i) {
        made.digits[2 * i] = static_cast<char>('0' + i / 10);
        made.digits[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return made;
}();

inline char *put_pair(char *out, uint32_t below_100)
{
    memcpy(out, digit_pairs.digits + 2 * below_100, 2);
    return out + 2;
}

inline char *put_below_100(char *out, uint32_t value)
{
    if (value >= 10) return put_pair(out, value);
    *out = static_cast<char>('0' + value);
    return out + 1;
}

/* Most numbers are short. */
inline char *put_int(char *out, int32_t value)
{
    const uint32_t small = static_cast<uint32_t>(value);
    if (small < 100) return put_below_100(out, small);
    if (small < 10000) return put_pair(put_below_100(out, small / 100), small % 100);
    if (value >= 0) return put_uint(out, small);
    *out = '-';
    return put_uint(out + 1, 0 - small);
}
