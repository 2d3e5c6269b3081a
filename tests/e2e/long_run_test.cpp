/* What a server has taken after many requests, and has not given back. */
#include "tests/e2e/mixed_requests.h"

namespace {

constexpr size_t requests_wanted = 200000;

using LongRun = Device;

TEST_F(LongRun, TakesNoMoreThanItsFirstTenth)
{
    start({"--fast", "--streams", "20"}, "server.errorlog = \"/dev/null\"\n");
    std::vector<HttpRequest> staying;
    for (int i = 0; i < 5; ++i) staying.insert(staying.end(), kept().begin(), kept().end());
    size_t requests = 0, rounds = 0;
    Taken taken[2];
    for (Taken &now : taken) {
        const size_t until = &now == taken ? requests_wanted / 10 : requests_wanted;
        for (; requests < until && !HasFailure(); ++rounds) {
            requests += exchange(server->port(), staying);
            requests += exchange_one_by_one(server->port(), ending());
            break_off_uploads(server->port());
            requests += 3;
        }
        now = settled(*server);
    }
    std::filesystem::remove("/mnt/data/x.pem");
    const auto &[before, after] = taken;
    EXPECT_LE(after.memory_kib, before.memory_kib + 256);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.files, before.files);
    printf(
        "%zu requests, %zu uploads and %zu aborted uploads among them\n%ld and %ld KiB of memory "
        "after the first tenth and at the end, %zu and %zu descriptors, %zu and %zu files\n",
        requests, 6 * rounds, 3 * rounds, before.memory_kib, after.memory_kib, before.descriptors,
        after.descriptors, before.files, after.files);
}

} // namespace
