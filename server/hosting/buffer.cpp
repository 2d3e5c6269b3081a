#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "server/hosting/memory.h"

namespace {

constexpr size_t most_kept = 4096;
constexpr size_t piece = 64;

/* Makes room for `size` bytes, one for the NUL among them. */
void reserve(buffer *b, size_t size)
{
    if (size <= b->size) return;
    const size_t rounded = size <= SIZE_MAX - piece ? size + piece - size % piece : size;
    b->ptr = static_cast<char *>(need_more(b->size > 0 ? b->ptr : nullptr, rounded));
    b->size = rounded;
}

int digit_value(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/* The byte of an escape's two digits, or -1. Stops at a NUL. */
int escaped_byte(const char *digits)
{
    const int high = digit_value(digits[0]);
    const int low = high < 0 ? -1 : digit_value(digits[1]);
    return low < 0 ? -1 : high << 4 | low;
}

char shown_byte(int byte)
{
    return byte < 32 || byte == 127 ? '_' : static_cast<char>(byte);
}

} // namespace

void *need(size_t size)
{
    return need_more(nullptr, size);
}

void *need_more(void *old, size_t size)
{
    void *memory = realloc(old, size);
    if (memory) return memory;
    fputs("out of memory\n", stderr);
    abort();
}

std::string_view text_of(const buffer &b)
{
    return b.used > 0 ? std::string_view(b.ptr, b.used - 1) : std::string_view();
}

void assign(buffer &b, std::string_view text)
{
    b.used = 0;
    buffer_append_string_len(&b, text.data(), text.size());
}

buffer *buffer_init()
{
    return static_cast<buffer *>(calloc(1, sizeof(buffer)));
}

buffer *buffer_init_string(const char *str)
{
    const size_t size = (str ? strlen(str) : 0) + 1;
    buffer *b = buffer_init();
    char *storage = b ? static_cast<char *>(malloc(size)) : nullptr;
    if (!storage) {
        free(b);
        return nullptr;
    }
    memcpy(storage, str ? str : "", size);
    *b = {storage, size, size};
    return b;
}

void buffer_free(buffer *b)
{
    if (!b) return;
    free(b->ptr);
    free(b);
}

void buffer_reset(buffer *b)
{
    if (!b) return;
    if (b->size > most_kept) {
        free(b->ptr);
        b->ptr = nullptr;
        b->size = 0;
    } else if (b->size > 0) {
        b->ptr[0] = '\0';
    }
    b->used = 0;
}

void buffer_append_string_len(buffer *b, const char *s, size_t s_len)
{
    const size_t length = b->used > 0 ? b->used - 1 : 0;
    if (s_len > SIZE_MAX - 1 - length) abort();
    reserve(b, length + s_len + 1);
    if (s_len > 0) memcpy(b->ptr + length, s, s_len);
    b->ptr[length + s_len] = '\0';
    b->used = length + s_len + 1;
}

void buffer_urldecode_path(buffer *url)
{
    if (url->used < 2) return;
    const char *from = url->ptr;
    char *to = url->ptr;
    for (; *from; ++from) {
        const int byte = *from == '%' ? escaped_byte(from + 1) : -1;
        if (byte >= 0) from += 2;
        *to++ = byte >= 0 ? shown_byte(byte) : *from;
    }
    *to = '\0';
    url->used = static_cast<size_t>(to - url->ptr) + 1;
}
