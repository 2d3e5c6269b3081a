/* The daemon's messages in bytes. Nothing here is shared with the module, so that a fault in one
 * of the two shows.
 *
 * A message is a header of 13 bytes and a payload: type, length (header included) and tag as
 * little-endian 32-bit words, then a checksum that makes the sum of all bytes 0. A request's type
 * is the command; a reply's type is 0 and its payload begins with the command, the result (1 is
 * success) and the length of the record after them. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

std::string u32(uint32_t value);
uint32_t u32_at(const std::string &bytes, size_t at);
std::string text_field(const std::string &text, size_t width); /* cut or filled up with NULs */

std::string message(uint32_t type, const std::string &payload, uint32_t tag = 0xFFFFFFFF);
std::string reply(uint32_t command, uint32_t result, uint32_t data_len, const std::string &record);
std::string reply(uint32_t command, uint32_t result, const std::string &record);
std::string version_reply(const std::string &software, size_t record_size = 1020);

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
std::vector<OddReply> odd_replies(uint32_t command, const std::string &record);
