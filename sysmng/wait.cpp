#include "sysmng/wait.h"

#include <sys/select.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace {

/* The kernel takes sets of any size. A server that has many clients may give
 * the link a descriptor beyond those that an fd_set has room for. */
constexpr int most_descriptors = 65536;
constexpr size_t word_bits = sizeof(unsigned long) * CHAR_BIT;

struct DescriptorSet {
    unsigned long words[most_descriptors / word_bits];
};

void make_set(DescriptorSet &set, size_t fd)
{
    const size_t word = fd / word_bits;
    memset(set.words, 0, (word + 1) * sizeof(set.words[0]));
    set.words[word] = 1ul << fd % word_bits;
}

bool go_on()
{
    return true;
}

} // namespace

WaitReadable *wait_readable = select_readable;
GiveWay *give_way = go_on;

int select_readable(int fd, timeval *left)
{
    if (fd < 0 || fd >= most_descriptors) return -1;
    for (;;) {
        DescriptorSet set;
        make_set(set, static_cast<size_t>(fd));
        /* Linux takes the time that has passed off `*left`, after a signal too. */
        const int ready =
            select(fd + 1, reinterpret_cast<fd_set *>(set.words), nullptr, nullptr, left);
        if (ready >= 0 || errno != EINTR) return ready;
    }
}
