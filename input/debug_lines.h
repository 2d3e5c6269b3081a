/* Debug lines on standard error, gathered so that those of one chunk leave in
 * few writes. */
#pragma once

#include <cstddef>

struct DebugLines {
    size_t used = 0;
    char bytes[4096];
};

void add(DebugLines &lines, const char *text, size_t length);

/* Writes what is gathered; the owner calls it at the end. */
void flush(DebugLines &lines);
