/* Answers: a record as a JSON object. */
#pragma once

#include <cstdint>

#include "reply/record.h"
#include "reply/text.h"

/* Writes the JSON object of a record to `out`, which has room for the longest
 * one, and returns where it ends. */
char *put_object(char *out, const Record &record, const uint8_t *bytes);

/* Appends it, whole or cut. */
void append_object(Text &json, const Record &record, const uint8_t *bytes);
