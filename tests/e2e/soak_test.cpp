/* What a server has taken after many requests, and has not given back. And a day in its life, as
 * long as KELTO_SOAK_HOURS says: clients of several kinds, while logs are rotated, the server
 * restarts gracefully and now and then the daemon and the server are restarted. Memory, descriptors
 * and files are looked at every minute. Run by ./test --soak. */
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "tests/e2e/mixed_requests.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

/* Where one of these stands in the minute. */
constexpr seconds rotation(15), restart(30), look(55), minute(60);
constexpr seconds settling(6); /* in which a restart may cost a client its connection */
constexpr int minutes_of_a_life = 10;
constexpr long growth_kib = 512, growth_per_restart_kib = 64;

class Soak : public Device {
protected:
    ~Soak() override { stop_clients(); }

    void begin()
    {
        start({"--fast", "--streams", "20"}, "server.errorlog = var.root + \"/error.log\"\n");
    }

    void start_clients()
    {
        over = false;
        const int port = server->port();
        start_client([port] { return exchange(port, kept()); });
        start_client([port] { return exchange(port, kept(), false); });
        start_client([port] { return exchange_one_by_one(port, ending()); });
        start_client([port, this] {
            break_off_uploads(port);
            broken_off += 3;
            return 0;
        });
    }

    /* What goes wrong while nothing restarts is a failure. */
    void start_client(const std::function<size_t()> &take_turn)
    {
        clients.emplace_back([this, take_turn] {
            for (; !over && !HasFailure(); usleep(2000)) {
                const Clock::time_point begun = Clock::now();
                try {
                    answers += take_turn();
                } catch (const std::runtime_error &error) {
                    if (begun > calm_from.load()) ADD_FAILURE() << error.what();
                    ++lost;
                }
            }
        });
    }

    void stop_clients()
    {
        over = true;
        for (std::thread &one : clients) one.join();
        clients.clear();
    }

    void rotate_log() const
    {
        const std::string log = server->root() + "/error.log";
        ASSERT_EQ(rename(log.c_str(), (log + ".1").c_str()), 0);
        kill(server->process_id(), SIGHUP);
        EXPECT_TRUE(wait_until([&] { return access(log.c_str(), F_OK) == 0; })) << "no new log";
        unlink((log + ".1").c_str());
    }

    /* The log of the server is empty then. */
    void restart_all()
    {
        server->stop();
        EXPECT_EQ(simulator->stop(), 0) << simulator_log();
        unlink((directory.path + "/log").c_str()); /* in which it says that it listens */
        begin();
    }

    std::vector<std::thread> clients;
    std::atomic<bool> over = false;
    std::atomic<Clock::time_point> calm_from = Clock::now();
    std::atomic<size_t> answers = 0, broken_off = 0, lost = 0;
};

TEST_F(Soak, ADayInTheLife)
{
    const char *hours = getenv("KELTO_SOAK_HOURS");
    if (!hours) GTEST_SKIP() << "./test --soak HOURS runs this";
    begin();
    start_clients();
    Taken first = {};
    int restarts = 0, lives = 1, in_this_life = 0;
    Clock::time_point begun = Clock::now();
    for (int i = 0; i < 60 * std::stod(hours) && !HasFailure(); ++i, begun += minute) {
        std::this_thread::sleep_until(begun + rotation);
        rotate_log();
        std::this_thread::sleep_until(begun + restart);
        calm_from = Clock::now() + settling;
        kill(server->process_id(), SIGUSR1);
        ++restarts;
        ++in_this_life;
        std::this_thread::sleep_until(begun + look);
        stop_clients();
        wait_until([&] { return client.get("/api/leds").status == 200; });
        const Taken now = settled(*server);
        printf("%3d min: %zu answers, %ld KiB, %zu descriptors, %zu files\n", i + 1, answers.load(),
               now.memory_kib, now.descriptors, now.files);
        fflush(stdout);
        if (in_this_life == 1) first = now;
        EXPECT_LE(now.memory_kib,
                  first.memory_kib + growth_kib + in_this_life * growth_per_restart_kib);
        EXPECT_EQ(now.descriptors, first.descriptors);
        EXPECT_EQ(now.files, first.files);
        if (i == 1 || in_this_life == minutes_of_a_life) {
            restart_all();
            in_this_life = 0;
            ++lives;
        }
        start_clients();
        std::this_thread::sleep_until(begun + minute);
    }
    stop_clients();
    printf(
        "%zu requests answered, %zu uploads broken off, %zu connections lost to %d graceful "
        "restarts, %d lives of server and daemon\n",
        answers.load(), broken_off.load(), lost.load(), restarts, lives);
}

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
