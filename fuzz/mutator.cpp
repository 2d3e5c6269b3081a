#include "fuzz/mutator.h"

#include <algorithm>
#include <random>

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t room);

namespace {

std::vector<std::string> split(const std::string &text, const std::string &separator)
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

} // namespace

size_t mutate(uint8_t *data, size_t size, size_t room)
{
    return LLVMFuzzerMutate(data, size, room);
}

size_t mutate_items(uint8_t *data, size_t size, size_t room, unsigned seed,
                    const std::string &separator, const std::vector<std::string> &typical)
{
    std::minstd_rand random(seed);
    const unsigned kind = random() % 8;
    if (kind >= 4) return mutate(data, size, room);
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
