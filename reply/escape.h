#pragma once

#include <cstdint>

/* Escapes a record's text field in place for a JSON string: < and > become
 * entities, a double quote and a backslash get a backslash in front. `width` is
 * the field's size. The text ends at its first NUL or at the field's end; the
 * result is at most width - 1 bytes, without a replacement cut in half, and
 * NULs fill the rest of the field; an empty text stays as it is. Returns
 * `text`. */
char *escape_string(char *text, uint32_t width);

/* Writes the same escaped text to `out`, which has room for `width` bytes, and
 * returns where it ends. The field stays as it is. */
char *put_escaped(char *out, const char *text, uint32_t width);
