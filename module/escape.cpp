#include "module/escape.h"

#include <cstring>

#include "server/lighttpd.h"

namespace {

/* What the compiler makes vector instructions of, where the target has some. */
constexpr size_t block_size = 16;
using Block = uint8_t __attribute__((vector_size(block_size)));

/* How many bytes of a block stand before its first NUL or special character. */
size_t plain_bytes(const char *text)
{
    Block block;
    memcpy(&block, text, block_size);
    /* '<' and '>' differ in one bit. */
    const auto found = (block == 0) | (block == '"') | (block == '\\') | ((block | 2) == '>');
    uint64_t halves[2];
    memcpy(halves, &found, block_size);
    if (halves[0]) return static_cast<size_t>(__builtin_ctzll(halves[0])) / 8;
    if (halves[1]) return static_cast<size_t>(__builtin_ctzll(halves[1])) / 8 + 8;
    return block_size;
}

size_t length_between(const char *begin, const char *end)
{
    return static_cast<size_t>(end - begin);
}

/* What stands for a character; null for one that stands for itself. */
const char *replacement_of(char c)
{
    switch (c) {
        case '<': return "&lt;";
        case '>': return "&gt;";
        case '"': return "\\\"";
        case '\\': return "\\\\";
        default: return nullptr;
    }
}

/* Writes one character. False when it does not fit whole. */
bool put_character(char **out, const char *out_end, char c)
{
    const char *replacement = replacement_of(c);
    const size_t length = replacement ? strlen(replacement) : 1;
    if (length > length_between(*out, out_end)) return false;
    memcpy(*out, replacement ? replacement : &c, length);
    *out += length;
    return true;
}

bool is_plain(const char *text, size_t length)
{
    size_t i = 0;
    for (; length - i >= block_size; i += block_size) {
        if (plain_bytes(text + i) < block_size) return false;
    }
    for (; i < length; ++i) {
        if (replacement_of(text[i])) return false;
    }
    return true;
}

/* The field as it was; one for the process, made when first needed. */
buffer *scratch;

} // namespace

char *put_escaped(char *out, const char *text, uint32_t width)
{
    const char *const text_end = text + width;
    char *const out_end = out + width - 1;
    while (length_between(text, text_end) >= block_size &&
           length_between(out, out_end) >= block_size) {
        memcpy(out, text, block_size);
        const size_t plain = plain_bytes(text);
        out += plain;
        text += plain;
        if (plain == block_size) continue;
        if (*text == '\0' || !put_character(&out, out_end, *text++)) return out;
    }
    while (text < text_end && *text != '\0' && put_character(&out, out_end, *text)) ++text;
    return out;
}

char *escape_string(char *text, uint32_t width)
{
    size_t length = strnlen(text, width);
    if (length == 0) return text;
    if (!scratch) scratch = buffer_init();
    if (is_plain(text, length)) {
        if (length == width) --length;
    } else if (!scratch) {
        length = 0; /* no memory: rather nothing than a text that breaks the JSON */
    } else {
        buffer_reset(scratch);
        buffer_append_string_len(scratch, text, width);
        length = length_between(text, put_escaped(text, scratch->ptr, width));
    }
    memset(text + length, 0, width - length);
    return text;
}
