/* What people write: files of lines, words and numbers. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/* Reads all lines of a text file, without blanks at their ends. Returns the problem, empty when
 * there is none. */
std::string read_lines(const std::string &path, std::vector<std::string> &lines);

/* Without the blanks at both ends. */
std::string trimmed(const std::string &text);

/* Takes the first word off the text; empty when there is none. */
std::string take_word(std::string &text);

/* All of the text is one number; a whole one fits its type. */
std::optional<double> decimal_of(const std::string &text);
std::optional<int32_t> int_of(const std::string &text);
std::optional<uint32_t> uint_of(const std::string &text);
std::optional<uint64_t> uint64_of(const std::string &text);

/* "10s", "500ms", "1h30m", in seconds. */
std::optional<double> seconds_of(const std::string &text);
