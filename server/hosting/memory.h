/* Shared within the hosting layer. */
#pragma once

#include <cstddef>
#include <string_view>

#include "server/lighttpd.h"

/* As malloc and realloc, but never null: the process ends. */
void *need(size_t size);
void *need_more(void *old, size_t size);

/* The text of a buffer, and its replacement by another. */
std::string_view text_of(const buffer &b);
void assign(buffer &b, std::string_view text);
