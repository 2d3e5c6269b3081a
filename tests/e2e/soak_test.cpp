/* A day in the life of a server, as long as KELTO_SOAK_HOURS says: clients of several kinds, while
 * logs are rotated, the server restarts gracefully and now and then the daemon and the server are
 * restarted. Memory, descriptors and files are looked at every minute. Run by ./test --soak. */
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
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

struct NoAnswer : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Soak : public Device {
protected:
    ~Soak() override { end(); }

    void begin()
    {
        start({"--fast", "--streams", "20"}, "server.errorlog = var.root + \"/error.log\"\n");
    }

    void end()
    {
        over = true;
        for (std::thread &one : clients) one.join();
        clients.clear();
    }

    void expect(const HttpRequest &asked, const Response &response)
    {
        const bool as_ever =
            response.status == asked.status && response.body.find(asked.text) != std::string::npos;
        if (!as_ever) {
            const std::string what = asked.request.substr(0, asked.request.find(" HTTP")) + ": " +
                                     std::to_string(response.status) + " " +
                                     response.body.substr(0, 200);
            if (response.status == asked.status) ADD_FAILURE() << what;
            throw NoAnswer(what);
        }
        ++answers;
    }

    /* All at once, or one after the other. */
    void ask(const std::vector<HttpRequest> &all, bool at_once)
    {
        RawConnection connection(server->port());
        std::string requests;
        for (const HttpRequest &one : all) requests += one.request;
        if (at_once) connection.send(requests);
        for (const HttpRequest &one : all) {
            if (!at_once) connection.send(one.request);
            expect(one, connection.receive());
        }
    }

    void break_off_uploads()
    {
        for (const size_t part : {100ul, 400ul, 70000ul}) {
            RawConnection(server->port()).send(upload(100000).substr(0, part));
            ++broken_off;
        }
    }

    /* A client that does this over and over. What goes wrong while nothing restarts is a failure.
     */
    void keep_doing(const std::function<void()> &turn)
    {
        const std::unique_ptr<std::mutex> &busy =
            turns.emplace_back(std::make_unique<std::mutex>());
        clients.emplace_back([this, turn, at_work = busy.get()] {
            while (!over && !HasFailure()) {
                {
                    const std::lock_guard lock(*at_work);
                    const Clock::time_point begun = Clock::now();
                    try {
                        turn();
                    } catch (const std::runtime_error &error) {
                        if (begun > calm_from.load()) ADD_FAILURE() << error.what();
                        ++lost;
                    }
                }
                usleep(2000);
            }
        });
    }

    /* Between the turns of all clients. */
    void while_nobody_asks(const std::function<void()> &action)
    {
        std::vector<std::unique_lock<std::mutex>> stopped;
        for (const auto &turn : turns) stopped.emplace_back(*turn);
        action();
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
        while_nobody_asks([this] {
            server->stop();
            EXPECT_EQ(simulator->stop(), 0) << simulator_log();
            unlink((directory.path + "/log").c_str()); /* in which it says that it listens */
            begin();
        });
        ++lives;
    }

    /* What is taken when the clients have gone. */
    Taken look_at_server()
    {
        Taken taken = {};
        while_nobody_asks([&] {
            wait_until([&] { return client.get("/api/leds").status == 200; });
            int same = 0;
            wait_until([&] {
                const size_t before = taken.descriptors + taken.files;
                taken = taken_by(*server);
                same = taken.descriptors + taken.files == before ? same + 1 : 0;
                return same == 20;
            });
        });
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
    std::vector<std::unique_ptr<std::mutex>> turns; /* of each client; it holds one in its turn */
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
    turns.reserve(8);
    keep_doing([this] { ask(kept, true); });
    keep_doing([this] { ask(kept, false); });
    keep_doing([this] {
        for (const HttpRequest &one : ending()) ask({one}, true);
    });
    keep_doing([this] { break_off_uploads(); });

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
    end();
    printf(
        "%zu requests answered, %zu uploads broken off, %zu connections lost to %d graceful "
        "restarts, %d lives of server and daemon\n",
        answers.load(), broken_off.load(), lost.load(), restarts, lives);
}

} // namespace
