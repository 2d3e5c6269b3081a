#include "tests/support/messages.h"

#include <cstdio>

std::string u32(uint32_t value)
{
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
    return bytes;
}

uint32_t u32_at(const std::string &bytes, size_t at)
{
    uint32_t value = 0;
    for (size_t i = 4; i-- > 0;) value = value << 8 | static_cast<uint8_t>(bytes.at(at + i));
    return value;
}

std::string text_field(const std::string &text, size_t width)
{
    std::string field = text;
    field.resize(width, '\0');
    return field;
}

std::string to_hex(const std::string &bytes)
{
    std::string digits;
    for (const char c : bytes) {
        char pair[4];
        snprintf(pair, sizeof(pair), "%02X ", static_cast<uint8_t>(c));
        digits += pair;
    }
    if (!digits.empty()) digits.pop_back();
    return digits;
}

std::string message(uint32_t type, const std::string &payload, uint32_t tag)
{
    const std::string head = u32(type) + u32(static_cast<uint32_t>(13 + payload.size())) + u32(tag);
    unsigned sum = 0;
    for (const char c : head + payload) sum += static_cast<uint8_t>(c);
    return head + static_cast<char>(256 - sum % 256) + payload;
}

std::string reply(uint32_t command, uint32_t result, uint32_t data_len, const std::string &record)
{
    return message(0, u32(command) + u32(result) + u32(data_len) + record);
}

std::string reply(uint32_t command, uint32_t result, const std::string &record)
{
    return reply(command, result, static_cast<uint32_t>(record.size()), record);
}
