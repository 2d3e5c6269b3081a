#pragma once

#include <string>

/* As printf, into a text. */
std::string format(const char *form, ...) __attribute__((format(printf, 1, 2)));

/* Text for a terminal: control characters are shown, not obeyed. */
std::string printable(const std::string &text);
