/* What makes rendering fast: all JSON text in front of a value is put together
 * while compiling, and copied in one piece of a fixed size. */
#pragma once

#include <cstdint>

/* What stands between the quote in front of a field's key and its value: the
 * key, its colon, and the quote in front of a quoted value. */
struct Lead {
    char text[32];
    uint8_t length;
};

/* A nested object's key has no blank in front of its colon. */
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
