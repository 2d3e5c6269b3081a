/* Requests: a record made of the form. */
#pragma once

#include <cstdint>

#include "reply/record.h"
#include "server/lighttpd.h"

/* Writes every field from the form parameters; an absent one gives -1, 0 or an
 * empty text. With an index, the parameters are key[index]. `out` has room for
 * the record. */
constexpr int no_index = -1;
void fill_record(uint8_t *out, const SentRecord &sent, array *params, int index = no_index);
