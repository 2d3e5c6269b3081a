/* The daemon's messages in bytes. Nothing here is shared with the module, so that a fault in one
 * of the two shows.
 *
 * A message is a header of 13 bytes and a payload: type, length (header included) and tag as
 * little-endian 32-bit words, then a checksum that makes the sum of all bytes 0. A request's type
 * is the command; a reply's type is 0 and its payload begins with the command, the result (1 is
 * success) and the length of the record after them. */
#pragma once

#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

inline std::string u32(uint32_t value)
{
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
    return bytes;
}

inline uint32_t u32_at(const std::string &bytes, size_t at)
{
    uint32_t value = 0;
    for (size_t i = 4; i-- > 0;) value = value << 8 | static_cast<uint8_t>(bytes.at(at + i));
    return value;
}

/* Cut or filled up with NULs. */
inline std::string text_field(std::string text, size_t width)
{
    text.resize(width, '\0');
    return text;
}

/* With the checksum that makes the sum of all bytes 0. */
inline std::string with_checksum(std::string bytes)
{
    bytes[12] = '\0';
    bytes[12] = static_cast<char>(-std::accumulate(bytes.begin(), bytes.end(), 0));
    return bytes;
}

inline std::string message(uint32_t type, const std::string &payload, uint32_t tag = 0xFFFFFFFF)
{
    const uint32_t length = static_cast<uint32_t>(13 + payload.size());
    return with_checksum(u32(type) + u32(length) + u32(tag) + '\0' + payload);
}

inline std::string reply(uint32_t command, uint32_t result, uint32_t data_len,
                         const std::string &record)
{
    return message(0, u32(command) + u32(result) + u32(data_len) + record);
}

inline std::string reply(uint32_t command, uint32_t result, const std::string &record)
{
    return reply(command, result, static_cast<uint32_t>(record.size()), record);
}

inline std::string version_reply(const std::string &software, size_t record_size = 1020)
{
    return reply(44, 1, text_field(text_field("", 765) + software, record_size));
}

/* What a daemon may send in place of the reply to a command. */
struct OddReply {
    enum Effect {
        GOOD,     /* it is read as the reply */
        SURPLUS,  /* so is its beginning; the rest fails the next command */
        REFUSAL,  /* a whole message, but not the reply */
        BROKEN,   /* not a message: dropped at once */
        CUT,      /* dropped when the rest has not come for a while */
        TOO_LARGE /* its length is not believed */
    };
    std::string name, bytes;
    Effect effect;
    bool waits = false; /* the module gives more of it a quarter of a second to arrive */
};

inline std::vector<OddReply> odd_replies(uint32_t command, const std::string &record)
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
