#include "reply/escape.h"
#include "reply/escaping.h"

#ifdef ESCAPE_BY_VECTORS

namespace {

/* The compiler makes vector instructions of it, where the target has some. */
constexpr size_t block_size = 16;
using Block = uint8_t __attribute__((vector_size(block_size)));
using Found = decltype(Block() == Block());

/* The bytes of a block that are NULs or special characters. */
Found found_in(const char *text)
{
    Block block;
    memcpy(&block, text, block_size);
    /* '<' and '>' differ in one bit. */
    return (block == 0) | (block == '"') | (block == '\\') | ((block | 2) == '>');
}

/* The same, a byte that is not 0 for each of them. */
struct Marks {
    uint64_t halves[2];
};

Marks marks_of(Found found)
{
    Marks marks;
    memcpy(&marks, &found, block_size);
    return marks;
}

bool any(Marks marks)
{
    return (marks.halves[0] | marks.halves[1]) != 0;
}

size_t first(uint64_t marks)
{
    return static_cast<unsigned>(__builtin_ctzll(marks)) / 8;
}

size_t first(Marks marks)
{
    return marks.halves[0] ? first(marks.halves[0]) : 8 + first(marks.halves[1]);
}

constexpr uint64_t lowest_bits = 0x0101010101010101;

size_t count(uint64_t marks)
{
    return static_cast<size_t>((marks & lowest_bits) * lowest_bits >> 56);
}

/* Writes the escaped text from `plain` up to the last marked character
 * of eight, and leaves `plain` after it. False at a NUL. There is room for a
 * block more than that, and as much to read. */
inline bool put_marked(char *&out, const char *&plain, const char *eight, uint64_t marks)
{
    for (marks &= lowest_bits; marks; marks &= marks - 1) {
        const char *special = eight + first(marks);
        memcpy(out, plain, block_size);
        out += special - plain;
        if (*special == '\0') return false;
        out = put_replacement(out, *special);
        plain = special + 1;
    }
    return true;
}

/* The rest of a text that has special characters. Not inline: texts without any
 * are quicker then. */
[[gnu::noinline]] char *put_rest(char *out, const char *out_end, const char *text,
                                 const char *text_end)
{
    for (; length_between(out, out_end) >= block_size; text += block_size) {
        const Marks marks = marks_of(found_in(text));
        if (!any(marks)) {
            memcpy(out, text, block_size);
            out += block_size;
            continue;
        }
        const size_t most = block_size + 3 * (count(marks.halves[0]) + count(marks.halves[1]));
        if (length_between(out, out_end) < most + block_size) break;
        const char *plain = text;
        if (!put_marked(out, plain, text, marks.halves[0])) return out;
        if (!put_marked(out, plain, text + 8, marks.halves[1])) return out;
        memcpy(out, plain, block_size);
        out += text + block_size - plain;
    }
    /* If only plain characters fit, copy them at once. */
    const size_t room = length_between(out, out_end);
    if (room < block_size && length_between(text, text_end) >= block_size) {
        const Marks marks = marks_of(found_in(text));
        if (!any(marks) || first(marks) >= room) {
            memcpy(out, text, room);
            return out + room;
        }
    }
    while (text < text_end && *text != '\0' && put_one(out, out_end, *text)) ++text;
    return out;
}

} // namespace

size_t plain_bytes(const char *text, size_t width)
{
    constexpr size_t four = 4 * block_size;
    size_t at = 0;
    for (; width - at >= four; at += four) {
        const char *blocks = text + at;
        if (any(marks_of(found_in(blocks) | found_in(blocks + block_size) |
                         found_in(blocks + 2 * block_size) | found_in(blocks + 3 * block_size)))) {
            break;
        }
    }
    while (width - at >= block_size) {
        const Marks marks = marks_of(found_in(text + at));
        if (any(marks)) return at + first(marks);
        at += block_size;
        /* The last block overlaps the one before. */
        if (at < width && width - at < block_size) at = width - block_size;
    }
    while (at < width && text[at] != '\0' && !is_special(text[at])) ++at;
    return at;
}

char *put_escaped(char *out, const char *text, uint32_t width)
{
    const char *const text_end = text + width;
    const char *const out_end = out + width - 1;
    /* At most as much is read as written, so where there is room for a block
     * there is one to read. */
    for (; length_between(out, out_end) >= block_size; out += block_size, text += block_size) {
        memcpy(out, text, block_size);
        const Marks marks = marks_of(found_in(text));
        if (!any(marks)) continue;
        const size_t plain = first(marks);
        if (text[plain] == '\0') return out + plain;
        break;
    }
    return put_rest(out, out_end, text, text_end);
}

#endif
