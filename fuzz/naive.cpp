#include "fuzz/naive.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

namespace {

struct WithoutCase {
    bool operator()(const std::string &a, const std::string &b) const
    {
        return std::lexicographical_compare(
            a.begin(), a.end(), b.begin(), b.end(),
            [](unsigned char c, unsigned char d) { return tolower(c) < tolower(d); });
    }
};

using Parameters = std::map<std::string, std::string, WithoutCase>;

std::string in_order(const std::map<std::string, std::string> &files, const Parameters &parameters)
{
    std::set<std::string> uploads, pairs;
    for (const auto &[name, content] : files) uploads.insert("|" + name + ":" + content);
    for (const auto &[key, value] : parameters) pairs.insert("|" + key + "=" + value);
    std::string all;
    for (const std::string &upload : uploads) all += upload;
    for (const std::string &pair : pairs) all += pair;
    return all;
}

std::string decoded(const std::string &text)
{
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool code = text[i] == '%' && i + 2 < text.size() &&
                          isxdigit(static_cast<unsigned char>(text[i + 1])) &&
                          isxdigit(static_cast<unsigned char>(text[i + 2]));
        result += code ? static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)) : text[i];
        if (code) i += 2;
    }
    return result;
}

/* The text in quotes behind the first occurrence of the word. */
std::string subfield(const std::string &value, const std::string &word)
{
    const size_t at = value.find(word);
    if (at == value.npos || value.compare(at + word.size(), 2, "=\"") != 0) return "";
    const size_t begin = at + word.size() + 2, end = value.find('"', begin);
    return end == value.npos ? "" : value.substr(begin, end - begin);
}

struct Part {
    std::string name, filename; /* the latter as it was sent */
};

/* Takes the headers off the text; false when they are malformed or have no end. */
bool take_headers(std::string &text, Part &part)
{
    for (;;) {
        const size_t name_end = text.find_first_of(":\r");
        if (name_end == text.npos) return false;
        size_t line_end = name_end;
        if (text[name_end] == ':') {
            line_end = text.find('\r', name_end);
            if (line_end == text.npos) return false;
            if (std::string("Content-Disposition").starts_with(text.substr(0, name_end))) {
                const std::string value = text.substr(name_end + 1, line_end - name_end - 1);
                part = {subfield(value, "name"), subfield(value, "filename")};
            }
        }
        if (text.compare(line_end, 2, "\r\n") != 0) return false;
        const bool last = line_end == name_end;
        text.erase(0, line_end + 2);
        if (last) return !text.empty();
    }
}

/* Its file's name; empty where none is stored. */
std::string base_name(const std::string &sent)
{
    const std::string whole = sent.substr(0, sent.find('\0'));
    const std::string name = whole.substr(whole.find_last_of("/\\") + 1);
    const std::string meant = decoded(name);
    return meant == "." || meant == ".." || meant.find('/') != meant.npos ? "" : name;
}

} // namespace

std::string naive_form(const std::string &body)
{
    Parameters parameters;
    for (size_t begin = 0; begin <= body.size();) {
        const size_t end = std::min(body.find_first_of(std::string("&\0", 2), begin), body.size());
        const std::string pair = body.substr(begin, end - begin);
        if (const size_t equals = pair.find('='); equals != pair.npos)
            parameters[pair.substr(0, equals)] = pair.substr(pair.rfind('=') + 1);
        begin = end + 1;
    }
    return in_order({}, parameters);
}

std::string naive_multipart(const std::string &body, const std::string &boundary)
{
    std::map<std::string, std::string> files;
    Parameters parameters;
    const std::string delimiter = "\r\n--" + boundary;
    std::string rest = body.substr(std::min(body.size(), delimiter.size()));
    size_t stored = 0;
    for (Part part; take_headers(rest, part); part = {}) {
        const size_t end = rest.find(delimiter);
        const std::string content = rest.substr(0, end);
        rest.erase(0, end == rest.npos ? end : end + delimiter.size());
        const std::string name = part.filename.empty() ? "" : base_name(part.filename);
        if (part.name.empty()) {
        } else if (!name.empty() && stored < 8) {
            ++stored;
            files[name] = content;
            parameters[part.name] = "/mnt/data/" + name;
        } else if (part.filename.empty() && !rest.empty()) {
            parameters[part.name] = content;
        }
        if (!rest.starts_with("\r\n")) break;
        rest.erase(0, 2);
    }
    return in_order(files, parameters);
}
