/* What a page costs others while one client waits for the daemon, or uploads; next to what it
 * costs from a second server, where nobody does. To be run by private-mounts. */
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/client.h"
#include "bench/device.h"
#include "bench/table.h"

namespace {

using Clock = std::chrono::steady_clock;
using Work = std::function<void()>;

constexpr int page_clients = 50, api_clients = 20;
constexpr int silent_seconds = 31; /* a command waits for 30 */
constexpr int uploads = 5;

/* How long each page took. */
struct Pages {
    std::vector<double> microseconds;

    /* Of a hundred pages, 99 take no longer. */
    double slowest_but_one_in_100()
    {
        std::sort(microseconds.begin(), microseconds.end());
        return microseconds.at(microseconds.size() * 99 / 100);
    }
};

/* What was fetched while some work was done. */
struct Fetched {
    Pages from_busy, from_idle;
    bool lost = false;
};

class Bench {
public:
    bool run();

private:
    void fetch(const std::atomic<bool> &over, Fetched &fetched) const;
    Fetched during(const Work &work) const;
    void be_silent();
    void upload_some(bool is_file) const;

    Simulator simulator;
    Server busy, idle;
    const std::string busy_page = http("GET", busy.static_path(1000)),
                      idle_page = http("GET", idle.static_path(1000));
};

void fetch_one(Client &client, const std::string &page, Pages &pages)
{
    const Clock::time_point begin = Clock::now();
    client.exchange(page, 200);
    pages.microseconds.push_back(
        std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
}

/* One client: from the two in turn, so that whatever else keeps the machine busy holds up both
 * alike. At even times, all clients would soon come at once. */
void Bench::fetch(const std::atomic<bool> &over, Fetched &fetched) const
{
    std::minstd_rand random(std::random_device{}());
    const auto pause = [&] { usleep(10000 + random() % 20000); };
    try {
        Client of_busy(busy.port()), of_idle(idle.port());
        while (!over) {
            fetch_one(of_busy, busy_page, fetched.from_busy);
            pause();
            fetch_one(of_idle, idle_page, fetched.from_idle);
            pause();
        }
    } catch (const std::exception &) {
        fetched.lost = true;
    }
}

void append(Pages &all, const Pages &more)
{
    all.microseconds.insert(all.microseconds.end(), more.microseconds.begin(),
                            more.microseconds.end());
}

Fetched Bench::during(const Work &work) const
{
    std::atomic<bool> over = false;
    std::vector<Fetched> of_each(page_clients);
    std::vector<std::thread> clients;
    for (Fetched &fetched : of_each) clients.emplace_back([&] { fetch(over, fetched); });
    work();
    over = true;
    for (std::thread &client : clients) client.join();
    Fetched all;
    for (const Fetched &fetched : of_each) {
        append(all.from_busy, fetched.from_busy);
        append(all.from_idle, fetched.from_idle);
        all.lost |= fetched.lost;
    }
    return all;
}

/* The command of the first client times out, as it is not answered; those of the others are when
 * the daemon goes on. */
void Bench::be_silent()
{
    kill(simulator.process.id(), SIGSTOP);
    std::vector<std::thread> clients;
    std::atomic<int> answered = 0;
    for (int i = 0; i < api_clients; ++i) {
        clients.emplace_back([&] {
            try {
                Client client(busy.port());
                client.send(http("GET", "/api/uptime"));
                client.receive_any();
                ++answered;
            } catch (const std::exception &) {
            }
        });
    }
    sleep(silent_seconds);
    kill(simulator.process.id(), SIGCONT);
    for (std::thread &client : clients) client.join();
    if (answered != api_clients) throw std::runtime_error("a client in line got no answer");
}

void Bench::upload_some(bool is_file) const
{
    Client client(busy.port());
    for (int i = 0; i < uploads; ++i) upload(client, is_file);
}

bool Bench::run()
{
    Fetched stalled = during([&] { be_silent(); });
    Fetched stored = during([&] { upload_some(false); });
    Fetched installed = during([&] { upload_some(true); });
    print_heading("Pages for 50 clients, 99 of 100 come as soon", "us");
    bool reached = print_figure(
        "daemon silent, 20 clients in line / without", stalled.from_busy.slowest_but_one_in_100(),
        stalled.from_idle.slowest_but_one_in_100(), {Goal::TIMES_THE_BOUND, 1.2});
    reached &=
        print_figure("uploads of 256 MiB / only stored by the server",
                     installed.from_busy.slowest_but_one_in_100(),
                     stored.from_busy.slowest_but_one_in_100(), {Goal::TIMES_THE_BOUND, 1.2});
    const bool lost = stalled.lost || stored.lost || installed.lost;
    printf("%s; pages while the daemon was silent: %zu\n",
           lost ? "A PAGE WAS LOST" : "No page was lost", stalled.from_busy.microseconds.size());
    return reached && !lost;
}

} // namespace

int main()
{
    try {
        return Bench().run() ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception &error) {
        fprintf(stderr, "bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
