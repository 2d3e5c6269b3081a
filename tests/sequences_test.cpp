/* Random sequences of requests to a daemon that misbehaves: no client may see
 * the answer to another request. Every reply carries a number of its own. */
#include <random>
#include <set>

#include "tests/support/module_test.h"

namespace {

struct Resource {
    const char *path;
    uint32_t command;
    size_t size; /* of the record; its first word is shown first */
};
const Resource resources[] = {{"/api/leds", 36, 12},
                              {"/api/ports", 35, 40},
                              {"/api/changes", 59, 32},
                              {"/api/general/freespace", 49, 4}};

std::string good_reply(const Resource &resource, uint32_t number)
{
    return reply(resource.command, 1, text_field(u32(number), resource.size));
}

class Sequences : public ModuleTest {
protected:
    /* The number that an answer shows, or -1. */
    int64_t ask(const Resource &resource)
    {
        const Answer answer = get(resource.path);
        if (answer.status != 200) return -1;
        return strtoll(answer.body.c_str() + answer.body.find(" : ") + 3, nullptr, 10);
    }
};

TEST_F(Sequences, ShowNoAnswerToAnotherRequest)
{
    const int sequences = sequences_to_try();
    constexpr int requests = 6;
    std::mt19937 random(5);
    uint32_t number = 0;
    int answered = 0, late_taken = 0;
    for (int sequence = 0; sequence < sequences && !HasFailure(); ++sequence) {
        SCOPED_TRACE("sequence " + std::to_string(sequence));
        forget_replies();
        state->msg_buf_size = 16384;                  /* as if nothing had grown it */
        std::set<std::pair<uint32_t, int64_t>> stray; /* unasked-for, by command */
        std::string late;
        for (int i = 0; i < requests; ++i) {
            const Resource &resource = resources[random() % std::size(resources)];
            std::string bytes = good_reply(resource, ++number);
            bool twice = false;
            if (random() % 2 == 0) {
                const std::string record = bytes.substr(25), good = bytes;
                std::vector<OddReply> odd = odd_replies(resource.command, record);
                const std::string surplus(number % 50 == 0 ? 17000 : 100, 'x');
                odd.push_back({"", reply(resource.command, 1, record + surplus), OddReply::GOOD});
                bytes = odd[random() % odd.size()].bytes;
                twice = bytes == good + good;
            }
            const bool silent = random() % 16 == 0; /* for now */
            if (!late.empty() && random() % 2) {
                the_daemon.sends(late);
                late.clear();
            }
            if (!silent) will_send(bytes);
            const int64_t shown = ask(resource);
            if (silent || twice) stray.insert({resource.command, number});
            if (silent) late += bytes;
            if (shown == -1) continue;
            ++answered;
            if (shown == number) continue;
            ++late_taken;
            stray.insert({resource.command, number}); /* its own answer is still to come */
            EXPECT_EQ(stray.count({resource.command, shown}), 1u)
                << resource.path << " shows " << shown << " and not " << number;
        }
        /* With a good daemon, all is well again. */
        the_daemon.sends(late);
        int64_t shown = 0;
        for (int i = 0; i < 8; ++i) {
            const Resource &resource = resources[random() % std::size(resources)];
            will_send(good_reply(resource, ++number));
            shown = ask(resource);
        }
        EXPECT_EQ(shown, number);
    }
    printf("%d sequences of %d requests: %d answered, %d of them by a late reply\n", sequences,
           requests, answered, late_taken);
    EXPECT_GT(answered, sequences);
}

} // namespace
