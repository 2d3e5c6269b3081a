#include "reply/escape.h"
#include "reply/escaping.h"

#ifndef ESCAPE_BY_VECTORS

namespace {

using Word = size_t;

constexpr Word in_every_byte(unsigned char value)
{
    return SIZE_MAX / UINT8_MAX * value;
}

/* Not 0 when a byte of the word is 0. */
Word has_zero(Word word)
{
    return (word - in_every_byte(1)) & ~word & in_every_byte(0x80);
}

/* Whether a NUL or a special character is in it. '<' and '>' differ in one bit. */
bool has_special(Word word)
{
    return (has_zero(word) | has_zero(word ^ in_every_byte('"')) |
            has_zero(word ^ in_every_byte('\\')) |
            has_zero((word | in_every_byte(2)) ^ in_every_byte('>'))) != 0;
}

Word word_at(const char *text)
{
    Word word;
    memcpy(&word, text, sizeof(word));
    return word;
}

} // namespace

size_t plain_bytes(const char *text, size_t width)
{
    size_t at = 0;
    while (width - at >= sizeof(Word) && !has_special(word_at(text + at))) at += sizeof(Word);
    while (at < width && text[at] != '\0' && !is_special(text[at])) ++at;
    return at;
}

char *put_escaped(char *out, const char *text, uint32_t width)
{
    const char *const text_end = text + width;
    const char *const out_end = out + width - 1;
    for (;;) {
        /* At most as much is read as written, so where there is room for a
         * word there is one to read. */
        while (length_between(out, out_end) >= sizeof(Word)) {
            const Word word = word_at(text);
            if (has_special(word)) break;
            memcpy(out, &word, sizeof(word));
            out += sizeof(word);
            text += sizeof(word);
        }
        for (size_t i = 0; i < sizeof(Word); ++i, ++text) {
            if (text == text_end || *text == '\0') return out;
            if (!put_one(out, out_end, *text)) return out;
        }
    }
}

#endif
