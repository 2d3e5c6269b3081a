/* What a page costs others while one client waits for the daemon, or uploads; next to what it
 * costs in quiet. To be run by private-mounts. */
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
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
constexpr int quiet_seconds = 10, silent_seconds = 31; /* a command waits for 30 */
constexpr int uploads = 5;

double microseconds_since(Clock::time_point begin)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

/* How long each page took that was fetched while some work was done. */
struct Pages {
    std::vector<double> microseconds;
    size_t lost = 0;

    void add(const Pages &more)
    {
        microseconds.insert(microseconds.end(), more.microseconds.begin(), more.microseconds.end());
        lost += more.lost;
    }

    /* Of a hundred pages, 99 take no longer. */
    double slowest_but_one_in_100()
    {
        std::sort(microseconds.begin(), microseconds.end());
        return microseconds.at(microseconds.size() * 99 / 100);
    }
};

/* A page each 20 ms, over one connection. */
void fetch(int port, const std::string &page, const std::atomic<bool> &over, Pages &pages)
{
    try {
        Client client(port);
        while (!over) {
            const Clock::time_point begin = Clock::now();
            client.exchange(page, 200);
            pages.microseconds.push_back(microseconds_since(begin));
            usleep(20000);
        }
    } catch (const std::exception &) {
        ++pages.lost;
    }
}

class Bench {
public:
    bool run();

private:
    Pages during(const Work &work) const;
    void be_silent();
    void upload_some(bool is_file) const;

    Device device;
    const std::string page = http("GET", device.static_path(1000));
};

Pages Bench::during(const Work &work) const
{
    std::atomic<bool> over = false;
    std::vector<Pages> of_each(page_clients);
    std::vector<std::thread> clients;
    for (Pages &pages : of_each) {
        clients.emplace_back([&] { fetch(device.server.port(), page, over, pages); });
    }
    work();
    over = true;
    for (std::thread &client : clients) client.join();
    Pages all;
    for (const Pages &pages : of_each) all.add(pages);
    return all;
}

/* The command of the first client times out, as it is not answered; those of the others are when
 * the daemon goes on. */
void Bench::be_silent()
{
    kill(device.simulator.process.id(), SIGSTOP);
    std::vector<std::thread> clients;
    std::atomic<int> answered = 0;
    for (int i = 0; i < api_clients; ++i) {
        clients.emplace_back([&] {
            try {
                Client client(device.server.port());
                client.send(http("GET", "/api/uptime"));
                client.receive_any();
                ++answered;
            } catch (const std::exception &) {
            }
        });
    }
    sleep(silent_seconds);
    kill(device.simulator.process.id(), SIGCONT);
    for (std::thread &client : clients) client.join();
    if (answered != api_clients) throw std::runtime_error("a client in line got no answer");
}

void Bench::upload_some(bool is_file) const
{
    Client client(device.server.port());
    for (int i = 0; i < uploads; ++i) upload(client, is_file);
}

bool Bench::run()
{
    const Work wait = [] { sleep(quiet_seconds); };
    Pages quiet = during(wait), stalled = during([&] { be_silent(); });
    quiet.add(during(wait)); /* as other programs may come and go */
    Pages stored = during([&] { upload_some(false); }),
          installed = during([&] { upload_some(true); });
    const double usual = quiet.slowest_but_one_in_100(), alone = stored.slowest_but_one_in_100();
    print_heading("Pages for 50 clients, 99 of 100 come as soon", "us");
    bool reached =
        print_figure("daemon silent, 20 clients in line / quiet", stalled.slowest_but_one_in_100(),
                     usual, {Goal::TIMES_THE_BOUND, 1.2});
    reached &=
        print_figure("uploads of 256 MiB / only stored by the server",
                     installed.slowest_but_one_in_100(), alone, {Goal::TIMES_THE_BOUND, 1.2});
    const size_t lost = quiet.lost + stalled.lost + stored.lost + installed.lost;
    printf("In quiet %.1f; pages while the daemon was silent: %zu; clients that lost one: %zu\n",
           usual, stalled.microseconds.size(), lost);
    return reached && lost == 0;
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
