/* Debug lines on standard error, buffered so that those of one body take few
 * writes. Writing never blocks the server: what standard error cannot take at
 * once is dropped. */
#pragma once

#include "input/span.h"

struct DebugLines {
    size_t used = 0;
    char bytes[4096];
};

/* Add a line: "content=" and a text, or "key=", a key, ", value=" and a value. */
void add_content(DebugLines &lines, Span content);
void add_pair(DebugLines &lines, Span key, Span value);

/* Writes what is buffered. Call it at the end. */
void flush(DebugLines &lines);
