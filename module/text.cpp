#include "module/text.h"

#include <cstdio>

namespace {

/* "00" to "99". */
struct Pairs {
    char digits[200];
};

constexpr Pairs pairs = [] {
    Pairs made = {};
    for (int i = 0; i < 100; ++i) {
        made.digits[2 * i] = static_cast<char>('0' + i / 10);
        made.digits[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return made;
}();

char *put_pair(char *out, uint32_t below_100)
{
    memcpy(out, pairs.digits + 2 * below_100, 2);
    return out + 2;
}

char *put_small(char *out, uint32_t below_100)
{
    if (below_100 >= 10) return put_pair(out, below_100);
    *out = static_cast<char>('0' + below_100);
    return out + 1;
}

char *put_u32(char *out, uint32_t value)
{
    if (value < 100) return put_small(out, value);
    return put_pair(put_u32(out, value / 100), value % 100);
}

} // namespace

char *put_int(char *out, int32_t value)
{
    uint32_t magnitude = static_cast<uint32_t>(value);
    if (value < 0) {
        *out++ = '-';
        magnitude = 0 - magnitude;
    }
    return put_u32(out, magnitude);
}

char *put_uint(char *out, uint64_t value)
{
    constexpr uint64_t most_in_32_bits = UINT32_MAX;
    if (value <= most_in_32_bits) return put_u32(out, static_cast<uint32_t>(value));
    return put_pair(put_uint(out, value / 100), static_cast<uint32_t>(value % 100));
}

char *put_tenths(char *out, double value)
{
    return out + snprintf(out, 44, "%.1f", value);
}
