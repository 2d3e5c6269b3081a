/* Included before the hosting layer's sources: its realloc is not one of those that
 * calls.h makes fail. Where the layer's memory runs out the process ends, as a
 * server does, and there is nothing more to see. */
#pragma once

#include <cstdlib>

extern "C" void *__real_realloc(void *old, size_t size);
#define realloc __real_realloc
