/* URL-encoded forms: key=value pairs between '&'. Keys and values are stored as
 * they stand, still encoded. A pair without '=' is dropped; of more than one
 * '=' the first ends the key and the last begins the value. */
#pragma once

#include "server/lighttpd.h"

/* Decodes `content`, which ends where a pair does, and writes it and each pair
 * to standard error. Returns 0, 1 when there were more parameters than a body
 * may have, or -1 when an argument is null. */
int parse_urlencoded_chunk(const buffer *content, array *params);
