#include "simulator/format.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

std::string format(const char *form, ...)
{
    char text[1024];
    va_list values;
    va_start(values, form);
    const int length = vsnprintf(text, sizeof(text), form, values);
    va_end(values);
    return std::string(text, static_cast<size_t>(std::clamp<int>(length, 0, sizeof(text) - 1)));
}

std::string printable(const std::string &text)
{
    std::string shown;
    for (const char c : text) {
        const unsigned byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            shown += format("\\x%02x", byte);
        } else {
            shown += c;
        }
    }
    return shown;
}
