/* Mutations that know of what an input consists. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

/* As libFuzzer does without a mutator. */
extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t room);

inline std::vector<std::string> split(const std::string &text, const std::string &separator)
{
    std::vector<std::string> items;
    size_t begin = 0;
    for (size_t end; (end = text.find(separator, begin)) != text.npos;) {
        items.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    items.push_back(text.substr(begin));
    return items;
}

/* To be called by a target's LLVMFuzzerCustomMutator. Takes the input as items with a separator
 * between them; removes, doubles or moves one, or adds a typical one; or else, once in two times,
 * leaves the input to libFuzzer. Returns the new size. */
inline size_t mutate_items(uint8_t *data, size_t size, size_t room, unsigned seed,
                           const std::string &separator, const std::vector<std::string> &typical)
{
    std::minstd_rand random(seed);
    const unsigned kind = random() % 8;
    if (kind >= 4) return LLVMFuzzerMutate(data, size, room);
    std::vector<std::string> items = split({reinterpret_cast<char *>(data), size}, separator);
    const auto some = [&] { return items.begin() + static_cast<long>(random() % items.size()); };
    const std::string item = kind == 3 ? typical[random() % typical.size()] : *some();
    switch (kind) {
        case 0: items.erase(some()); break;
        case 1: std::iter_swap(some(), some()); break;
        default: items.insert(some(), item); break;
    }
    std::string result;
    for (size_t i = 0; i < items.size(); ++i) result += (i > 0 ? separator : "") + items[i];
    const size_t length = std::min(result.size(), room);
    std::copy_n(result.begin(), length, data);
    return length;
}
