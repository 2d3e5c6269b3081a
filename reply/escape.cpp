#include "reply/escape.h"

#include "reply/escaping.h"
#include "server/lighttpd.h"

namespace {

/* A copy of the field, made when it is first needed and kept until the module
 * is unloaded. */
buffer *scratch;

[[gnu::destructor]] void free_scratch()
{
    if (scratch) buffer_free(scratch);
}

} // namespace

char *escape_string(char *text, uint32_t width)
{
    if (width == 0 || *text == '\0') return text;
    if (!scratch) scratch = buffer_init();
    size_t length = plain_bytes(text, width);
    if (length < width && text[length] != '\0') {
        if (scratch) {
            const size_t rest = width - length;
            buffer_reset(scratch);
            buffer_append_string_len(scratch, text + length, rest);
            length = length_between(
                text, put_escaped(text + length, scratch->ptr, static_cast<uint32_t>(rest)));
        } else {
            length = 0; /* no memory: an empty text at least leaves the JSON valid */
        }
    }
    text[width - 1] = '\0';
    if (length < width - 1) memset(text + length, 0, width - 1 - length);
    return text;
}
