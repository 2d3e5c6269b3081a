/* A day in the life of a server, as long as KELTO_SOAK_HOURS says: clients of several kinds, while
 * logs are rotated, the server restarts gracefully and now and then the daemon and the server are
 * restarted. Memory, descriptors and files are looked at every minute. Run by ./test --soak. */
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "tests/e2e/mixed_requests.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

/* Where one of these stands in the minute. */
constexpr Seconds rotation(15), restart(30), look(55), minute(60);
constexpr Seconds settling(6); /* in which a restart may cost a client its connection */
constexpr int minutes_of_a_life = 10;
constexpr long growth_kib = 512, growth_per_restart_kib = 64;

class Soak : public Device {
protected:
    ~Soak() override { stop_clients(); }

    void begin()
    {
        start({"--fast", "--streams", "20"}, "server.errorlog = var.root + \"/error.log\"\n");
    }

    /* A thread for each. What goes wrong while nothing restarts is a failure. */
    void start_clients()
    {
        over = false;
        const std::function<size_t()> turns[] = {
            [this] { return keep_connection(true); },
            [this] { return keep_connection(false); },
            [this] {
                exchange_one_by_one(server->port(), ending());
                return ending().size();
            },
            [this] {
                break_off_uploads(server->port());
                broken_off += 3;
                return size_t(0);
            },
        };
        for (const auto &turn : turns) {
            clients.emplace_back([this, turn] {
                for (; !over && !HasFailure(); usleep(2000)) {
                    const Clock::time_point begun = Clock::now();
                    try {
                        answers += turn();
                    } catch (const std::runtime_error &error) {
                        if (begun > calm_from.load()) ADD_FAILURE() << error.what();
                        ++lost;
                    }
                }
            });
        }
    }

    size_t keep_connection(bool at_once) const
    {
        RawConnection connection(server->port());
        exchange(connection, kept, at_once);
        return kept.size();
    }

    void stop_clients()
    {
        over = true;
        for (std::thread &one : clients) one.join();
        clients.clear();
    }

    void expect_trouble()
    {
        calm_from = Clock::now() + std::chrono::duration_cast<Clock::duration>(settling);
    }

    void rotate_log() const
    {
        const std::string log = server->root() + "/error.log";
        ASSERT_EQ(rename(log.c_str(), (log + ".1").c_str()), 0);
        kill(server->process_id(), SIGHUP);
        EXPECT_TRUE(wait_until([&] { return access(log.c_str(), F_OK) == 0; })) << "no new log";
        unlink((log + ".1").c_str());
    }

    void restart_gracefully()
    {
        expect_trouble();
        kill(server->process_id(), SIGUSR1);
        ++restarts;
    }

    /* The log of the server is empty then. */
    void restart_all()
    {
        stop_clients();
        server->stop();
        EXPECT_EQ(simulator->stop(), 0) << simulator_log();
        unlink((directory.path + "/log").c_str()); /* in which it says that it listens */
        begin();
        start_clients();
        ++lives;
    }

    /* What is taken when the clients have gone. */
    Taken look_at_server()
    {
        Taken taken = {};
        stop_clients();
        wait_until([&] { return client.get("/api/leds").status == 200; });
        int same = 0;
        wait_until([&] {
            const size_t before = taken.descriptors + taken.files;
            taken = taken_by(*server);
            same = taken.descriptors + taken.files == before ? same + 1 : 0;
            return same == 20;
        });
        start_clients();
        return taken;
    }

    void expect_level(const Taken &first, const Taken &now, int restarts_since)
    {
        EXPECT_LE(now.memory_kib,
                  first.memory_kib + growth_kib + restarts_since * growth_per_restart_kib);
        EXPECT_EQ(now.descriptors, first.descriptors);
        EXPECT_EQ(now.files, first.files);
    }

    std::vector<std::thread> clients;
    std::atomic<bool> over = false;
    std::atomic<Clock::time_point> calm_from = Clock::now();
    std::atomic<size_t> answers = 0, broken_off = 0, lost = 0;
    int restarts = 0, lives = 1;
};

TEST_F(Soak, ADayInTheLife)
{
    const char *hours = getenv("KELTO_SOAK_HOURS");
    if (!hours) GTEST_SKIP() << "./test --soak HOURS runs this";
    const Clock::time_point begun = Clock::now();
    const Seconds length(3600 * std::stod(hours));
    begin();
    start_clients();

    Taken first = {};
    int in_this_life = 0;
    for (int i = 0; Clock::now() - begun < length && !HasFailure(); ++i) {
        const auto sleep_until = [&, now = begun + i * minute](Seconds in_minute) {
            std::this_thread::sleep_until(now + in_minute);
        };
        sleep_until(rotation);
        rotate_log();
        sleep_until(restart);
        restart_gracefully();
        ++in_this_life;
        sleep_until(look);
        const Taken now = look_at_server();
        printf("%3d min: %zu answers, %ld KiB, %zu descriptors, %zu files\n", i + 1, answers.load(),
               now.memory_kib, now.descriptors, now.files);
        fflush(stdout);
        if (in_this_life == 1) first = now;
        expect_level(first, now, in_this_life);
        if (i == 1 || in_this_life == minutes_of_a_life) {
            restart_all();
            in_this_life = 0;
        }
        sleep_until(minute);
    }
    stop_clients();
    printf(
        "%zu requests answered, %zu uploads broken off, %zu connections lost to %d graceful "
        "restarts, %d lives of server and daemon\n",
        answers.load(), broken_off.load(), lost.load(), restarts, lives);
}

} // namespace
