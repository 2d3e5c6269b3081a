/* What a server has taken after many requests, and has not given back. */
#include "tests/e2e/mixed_requests.h"

namespace {

constexpr size_t requests_wanted = 200000;

using LongRun = Device;

TEST_F(LongRun, TakesNoMoreThanItsFirstTenth)
{
    start({"--fast", "--streams", "20"}, "server.errorlog = \"/dev/null\"\n");
    const std::vector<HttpRequest> others = ending();
    size_t requests = 0, uploads = 0, aborted = 0;
    const Taken idle = taken_by(*server);
    const auto run = [&](size_t until) {
        while (requests < until && !HasFailure()) {
            RawConnection staying(server->port());
            for (int round = 0; round < 5; ++round) exchange(staying, kept);
            exchange_one_by_one(server->port(), others);
            break_off_uploads(server->port());
            requests += 5 * kept.size() + others.size() + 3;
            uploads += 6;
            aborted += 3;
        }
        wait_until([&] { return taken_by(*server).descriptors == idle.descriptors; });
    };
    run(requests_wanted / 10);
    const Taken before = taken_by(*server);
    run(requests_wanted);
    const Taken after = taken_by(*server);
    std::filesystem::remove("/mnt/data/x.pem");
    EXPECT_LE(after.memory_kib, before.memory_kib + 256);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.files, before.files);
    printf(
        "%zu requests, %zu uploads and %zu aborted uploads among them\n%ld and %ld KiB of memory "
        "after the first tenth and at the end, %zu and %zu "
        "descriptors, %zu and %zu files\n",
        requests, uploads, aborted, before.memory_kib, after.memory_kib, before.descriptors,
        after.descriptors, before.files, after.files);
}

} // namespace
