#include "tests/support/messages.h"

#include <numeric>

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

namespace {

/* With the checksum that makes the sum of all bytes 0. */
std::string with_checksum(std::string bytes)
{
    bytes[12] = '\0';
    bytes[12] = static_cast<char>(-std::accumulate(bytes.begin(), bytes.end(), 0));
    return bytes;
}

} // namespace

std::string message(uint32_t type, const std::string &payload, uint32_t tag)
{
    const uint32_t length = static_cast<uint32_t>(13 + payload.size());
    return with_checksum(u32(type) + u32(length) + u32(tag) + '\0' + payload);
}

std::string reply(uint32_t command, uint32_t result, uint32_t data_len, const std::string &record)
{
    return message(0, u32(command) + u32(result) + u32(data_len) + record);
}

std::string reply(uint32_t command, uint32_t result, const std::string &record)
{
    return reply(command, result, static_cast<uint32_t>(record.size()), record);
}

std::string version_reply(const std::string &software, size_t record_size)
{
    return reply(44, 1, text_field(text_field("", 765) + software, record_size));
}

std::vector<OddReply> odd_replies(uint32_t command, const std::string &record)
{
    const std::string good = reply(command, 1, record), payload = good.substr(13);
    const std::string other = reply(command + 100, 1, record);
    const uint32_t whole = static_cast<uint32_t>(good.size());
    const size_t part = 13 + payload.size() / 4;
    const auto with_length = [&good](uint32_t length) {
        return with_checksum(std::string(good).replace(4, 4, u32(length)));
    };
    std::string damaged = good;
    ++damaged[12];
    std::vector<OddReply> replies = {
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
        {"bad checksum", damaged, OddReply::BROKEN},
        {"bad checksum, then good", damaged + good, OddReply::BROKEN},
        {"length 0", with_length(0), OddReply::BROKEN},
        {"length 12", with_length(12), OddReply::BROKEN},
        {"length 13", with_length(13), OddReply::BROKEN},
        {"length less by one", with_length(whole - 1), OddReply::BROKEN},
        {"length more by one", with_length(whole + 1), OddReply::CUT, true},
        {"too great a length", with_length(13 + (16 << 20) + 1), OddReply::TOO_LARGE, true},
        {"the greatest length", with_length(0xFFFFFFFF), OddReply::TOO_LARGE, true},
    };
    for (const size_t cut : {size_t(1), size_t(6), size_t(12), size_t(13), part, good.size() - 1})
        replies.push_back(
            {"cut after " + std::to_string(cut), good.substr(0, cut), OddReply::CUT, true});
    return replies;
}
