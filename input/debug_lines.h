/* Debug lines on standard error, gathered so that those of one chunk leave in
 * few writes. They never hold up the server: what standard error has no room
 * for at the moment is dropped. */
#pragma once

#include "input/span.h"

struct DebugLines {
    size_t used = 0;
    char bytes[4096];
};

/* Add a line: "content=" and a text, or "key=", a key, ", value=" and a value. */
void add_content(DebugLines &lines, Span content);
void add_pair(DebugLines &lines, Span key, Span value);

/* Writes what is gathered; the owner calls it at the end. */
void flush(DebugLines &lines);
