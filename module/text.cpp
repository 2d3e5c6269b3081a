#include "module/text.h"

#include <cstdio>

namespace {

char *put_u32(char *out, uint32_t value)
{
    if (value < 100) return put_below_100(out, value);
    return put_pair(put_u32(out, value / 100), value % 100);
}

} // namespace

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
