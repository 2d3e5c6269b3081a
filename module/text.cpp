#include "module/text.h"

#include <cstdio>

char *put_uint(char *out, uint64_t value)
{
    char digits[20];
    char *const end = digits + sizeof(digits);
    char *first = end;
    do {
        *--first = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value > 0);
    const size_t count = static_cast<size_t>(end - first);
    memcpy(out, first, count);
    return out + count;
}

char *put_tenths(char *out, double value)
{
    return out + snprintf(out, 44, "%.1f", value);
}
