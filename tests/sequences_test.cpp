/* Random sequences of requests to a daemon that misbehaves: no client may see
 * the answer to another request. Every reply carries a number of its own. */
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <set>
#include <string>

#include "tests/support/failing_calls.h"
#include "tests/support/module_host.h"

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

enum Fault {
    GOOD,
    REFUSED,
    WRONG_ECHO,
    WRONG_TYPE,
    DAMAGED,
    HEADER_CUT,
    PAYLOAD_CUT,
    LENGTH_12,
    LENGTH_0,
    GIANT,
    TOO_LONG,
    BEHIND,
    TWICE,
    ECHO_TWICE,
    SHORT_PREAMBLE,
    LATE,
    LATE_AND_SILENT,
    FAULTS
};

class Sequences : public ModuleTest {
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        skip_pauses = true;
    }
    void TearDown() override
    {
        skip_pauses = false;
        ModuleTest::TearDown();
    }

    /* What the daemon sends for a request. */
    static std::string bytes_of(Fault fault, const Resource &resource, uint32_t number)
    {
        const uint32_t command = resource.command;
        std::string record = u32(number);
        record.resize(resource.size, '\0');
        std::string good = reply(command, 1, record);
        switch (fault) {
            case REFUSED: return reply(command, 2, record);
            case WRONG_ECHO: return reply(command + 100, 1, record);
            case WRONG_TYPE: return message(7, good.substr(13));
            case DAMAGED: ++good[12]; return good;
            case HEADER_CUT: return good.substr(0, 9);
            case PAYLOAD_CUT: return good.substr(0, good.size() - 1);
            case LENGTH_12: return good.replace(4, 4, u32(12));
            case LENGTH_0: return good.replace(4, 4, u32(0));
            case GIANT: return good.replace(4, 4, u32(0xFFFFFFFF));
            case TOO_LONG: return reply(command, 1, record + std::string(20000, 'x'));
            case BEHIND: return good + "bytes behind";
            case TWICE: return good + good;
            case ECHO_TWICE: return reply(command + 100, 1, record) + good;
            case SHORT_PREAMBLE: return message(0, good.substr(13, 11));
            default: return good;
        }
    }

    /* The number that an answer shows, or -1. */
    int64_t ask(const Resource &resource)
    {
        const Answer answer = request(HTTP_METHOD_GET, resource.path);
        sent();
        if (answer.status != 200) return -1;
        return strtoll(answer.body.c_str() + answer.body.find(" : ") + 3, nullptr, 10);
    }
};

TEST_F(Sequences, ShowNoAnswerToAnotherRequest)
{
    constexpr int sequences = 10000, requests = 6;
    std::mt19937 random(5);
    uint32_t number = 0;
    int answered = 0, late_taken = 0;
    for (int sequence = 0; sequence < sequences; ++sequence) {
        SCOPED_TRACE("sequence " + std::to_string(sequence));
        forget_replies();
        std::set<std::pair<uint32_t, int64_t>> stray; /* unasked-for, by command */
        std::string late;
        for (int i = 0; i < requests; ++i) {
            const Resource &resource = resources[random() % std::size(resources)];
            const auto fault = static_cast<Fault>(random() % (2 * FAULTS));
            const bool silent = fault == LATE || fault == LATE_AND_SILENT;
            const std::string bytes = bytes_of(fault, resource, ++number);
            if (!late.empty() && random() % 2) {
                daemon_sends(late);
                late.clear();
            }
            if (!silent) will_send(bytes);
            int64_t shown;
            {
                const FailingCall timeout(silent ? "timeout" : "none", 1);
                shown = ask(resource);
            }
            if (silent || fault == TWICE) stray.insert({resource.command, number});
            if (silent) late += bytes;
            if (shown == -1) continue;
            ++answered;
            if (shown == number) continue;
            ++late_taken;
            stray.insert({resource.command, number}); /* its own answer is still to come */
            EXPECT_EQ(stray.count({resource.command, shown}), 1u)
                << resource.path << " shows " << shown << " and not " << number;
        }
        /* Left in peace, the link finds its feet. */
        if (!late.empty()) daemon_sends(late);
        int64_t shown = 0;
        for (int i = 0; i < 8; ++i) {
            const Resource &resource = resources[random() % std::size(resources)];
            will_send(bytes_of(GOOD, resource, ++number));
            shown = ask(resource);
        }
        EXPECT_EQ(shown, number);
        if (HasFailure()) break;
    }
    printf("%d sequences of %d requests: %d answered, %d of them by a late reply\n", sequences,
           requests, answered, late_taken);
    EXPECT_GT(answered, sequences);
}

} // namespace
