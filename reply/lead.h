/* Makes rendering fast: the JSON text before each value is put together while
 * compiling, and copied in one piece of a fixed size. */
#pragma once

#include <cstdint>

/* From the quote before a field's key up to its value: the key, its colon, and
 * the quote before a quoted value. */
struct Lead {
    char text[32];
    uint8_t length;
};

/* A nested object's key has no blank before its colon. */
constexpr Lead lead_of(const char *key, bool is_object, bool is_quoted)
{
    Lead lead = {};
    const auto add = [&lead](const char *text) {
        while (*text && lead.length < sizeof(lead.text)) lead.text[lead.length++] = *text++;
    };
    add(key);
    add(is_object ? "\": " : "\" : ");
    if (is_quoted) add("\"");
    return lead;
}
