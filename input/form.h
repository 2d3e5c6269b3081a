/* URL-encoded form bodies: key=value pairs between '&'. Keys and values are
 * stored as they stand, still encoded. A pair without '=' is dropped; of more
 * than one '=' the first ends the key and the last begins the value. */
#pragma once

#include "server/lighttpd.h"

/* Decodes one memory chunk of a body. `carried` holds what a chunk boundary
 * has cut off a pair, from one call to the next; it is empty before the first
 * chunk. Request headers in front of the body, which only the first chunk can
 * hold, are skipped. The content and each pair are told on standard error.
 * Returns -1 when an argument is null, else 0. */
int parse_urlencoded_chunk(const chunk *c, bool is_first, array *params, buffer *carried);

/* Stores the body's last pair. */
void finish_urlencoded(array *params, buffer *carried);
