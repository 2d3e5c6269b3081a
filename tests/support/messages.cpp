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

namespace {

/* The checksum made wrong by one. */
std::string damaged(std::string bytes)
{
    bytes[12] = static_cast<char>(bytes[12] + 1);
    return bytes;
}

/* Another length; the sum of all bytes stays. */
std::string with_length(std::string bytes, uint32_t length)
{
    const std::string word = u32(length);
    for (size_t i = 0; i < 4; ++i) {
        bytes[12] = static_cast<char>(bytes[12] + bytes[4 + i] - word[i]);
        bytes[4 + i] = word[i];
    }
    return bytes;
}

} // namespace

std::vector<OddReply> odd_replies(uint32_t command, const std::string &record)
{
    const std::string good = reply(command, 1, record), payload = good.substr(13);
    const std::string other = reply(command + 100, 1, record);
    const uint32_t length = static_cast<uint32_t>(good.size());
    const size_t part = 13 + payload.size() / 4;
    return {
        {"another tag", message(0, payload, 7), OddReply::GOOD},
        {"less than told", reply(command, 1, 0xFFFFFFFF, record), OddReply::GOOD},
        {"two replies", good + good, OddReply::SURPLUS},
        {"good, then another's", good + other, OddReply::SURPLUS},
        {"good, then two bytes", good + "xx", OddReply::SURPLUS, true},
        {"refused", reply(command, 0, ""), OddReply::REFUSAL},
        {"another result", reply(command, 2, ""), OddReply::REFUSAL},
        {"another's", other, OddReply::REFUSAL},
        {"another's, then good", other + good, OddReply::REFUSAL},
        {"another type", message(7, payload), OddReply::REFUSAL},
        {"another type, no payload", message(7, ""), OddReply::REFUSAL},
        {"no payload", message(0, ""), OddReply::REFUSAL},
        {"part of a preamble", message(0, payload.substr(0, 11)), OddReply::REFUSAL},
        {"bad checksum", damaged(good), OddReply::BROKEN},
        {"bad checksum, then good", damaged(good) + good, OddReply::BROKEN},
        {"length 0", with_length(good, 0), OddReply::BROKEN},
        {"length 12", with_length(good, 12), OddReply::BROKEN},
        {"length 13", with_length(good, 13), OddReply::BROKEN},
        {"length less by one", with_length(good, length - 1), OddReply::BROKEN},
        {"length more by one", with_length(good, length + 1), OddReply::CUT, true},
        {"one byte", good.substr(0, 1), OddReply::CUT, true},
        {"half a header", good.substr(0, 6), OddReply::CUT, true},
        {"a header less one byte", good.substr(0, 12), OddReply::CUT, true},
        {"a header", good.substr(0, 13), OddReply::CUT, true},
        {"part of a message", good.substr(0, part), OddReply::CUT, true},
        {"all but a byte", good.substr(0, length - 1), OddReply::CUT, true},
        {"too great a length", with_length(good, 13 + 16 * 1024 * 1024 + 1), OddReply::TOO_LARGE,
         true},
        {"the greatest length", with_length(good, 0xFFFFFFFF), OddReply::TOO_LARGE, true},
    };
}
