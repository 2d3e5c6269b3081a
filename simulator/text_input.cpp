#include "simulator/text_input.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>

namespace {

constexpr const char *blanks = " \t\r";

template <typename Number>
std::optional<Number> whole_number(const std::string &text)
{
    Number number = 0;
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    const bool good = error == std::errc() && stopped == end;
    return good ? std::optional(number) : std::nullopt;
}

std::optional<double> seconds_in(const std::string &unit)
{
    if (unit == "ms") return 0.001;
    if (unit == "s") return 1;
    if (unit == "m") return 60;
    if (unit == "h") return 3600;
    return {};
}

} // namespace

std::string read_lines(const std::string &path, std::vector<std::string> &lines)
{
    errno = 0;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        line.erase(line.find_last_not_of(blanks) + 1);
        lines.push_back(line);
    }
    if (file.eof()) return "";
    return errno != 0 ? strerror(errno) : "it cannot be read";
}

std::string trimmed(const std::string &text)
{
    const size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

std::string take_word(std::string &text)
{
    text = trimmed(text);
    const size_t end = text.find_first_of(blanks);
    std::string word = text.substr(0, end);
    text = end == std::string::npos ? "" : trimmed(text.substr(end));
    return word;
}

std::optional<double> decimal_of(const std::string &text)
{
    const std::optional<double> number = whole_number<double>(text);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<int32_t> int_of(const std::string &text)
{
    return whole_number<int32_t>(text);
}

std::optional<uint32_t> uint_of(const std::string &text)
{
    return whole_number<uint32_t>(text);
}

std::optional<uint64_t> uint64_of(const std::string &text)
{
    return whole_number<uint64_t>(text);
}

std::optional<double> seconds_of(const std::string &text)
{
    double seconds = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t unit = text.find_first_not_of("0123456789.", at);
        if (unit == std::string::npos) return {};
        const size_t end = std::min(text.find_first_of("0123456789.", unit), text.size());
        const std::optional<double> number = decimal_of(text.substr(at, unit - at));
        const std::optional<double> length = seconds_in(text.substr(unit, end - unit));
        if (!number || !length) return {};
        seconds += *number * *length;
        at = end;
    }
    return text.empty() ? std::nullopt : std::optional(seconds);
}
