#include "reply/text.h"

#include <cstdio>
#include <cstdlib>

namespace {

char *put_u32(char *out, uint32_t value)
{
    if (value < 100) return put_below_100(out, value);
    return put_pair(put_u32(out, value / 100), value % 100);
}

} // namespace

int32_t decimal_value(const char *text)
{
    const long value = strtol(text, nullptr, 10);
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
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
