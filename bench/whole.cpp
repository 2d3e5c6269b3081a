/* What a request costs through the real server and the simulated daemon, each figure next to the
 * sum of what it costs at least. All run on one processor, as a wake-up across processors costs
 * more than the module does; but for the last figure, in which the daemon has one of its own. To
 * be run by private-mounts. */
#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/client.h"
#include "bench/device.h"
#include "bench/form.h"
#include "bench/table.h"
#include "tests/support/messages.h"
#include "tests/support/process.h"
#include "tests/support/web_server.h"

namespace {

constexpr const char *upload_directory = "/mnt/data/";

void run_on(pid_t process, int processor)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(processor), &set);
    if (sched_setaffinity(process, sizeof(set), &set) != 0)
        throw std::runtime_error("sched_setaffinity");
}

/* Of those that this process may use, one that it does not run on; -1 when there is none. */
int another_processor()
{
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof(set), &set) != 0) return -1;
    for (int i = 0; i < CPU_SETSIZE; ++i) {
        if (CPU_ISSET(static_cast<size_t>(i), &set) && i != sched_getcpu()) return i;
    }
    return -1;
}

/* ---- The bounds ---- */

/* A connection to the daemon without the module. */
class Daemon {
public:
    Daemon() : fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), received(1024 * 1024)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strcpy(address.sun_path, daemon_socket);
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0)
            throw std::runtime_error("no daemon");
    }
    ~Daemon() { close(fd); }
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;

    /* Sends, waits, receives a header and what it announces. Returns the reply's record. */
    std::string_view exchange(const std::string &request)
    {
        send_all(fd, request.data(), request.size());
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        select(fd + 1, &readable, nullptr, nullptr, nullptr);
        constexpr size_t header = 13, record_at = header + 12;
        receive(0, header);
        uint32_t whole;
        memcpy(&whole, received.data() + 4, sizeof(whole));
        receive(header, whole);
        return {received.data() + record_at, whole - record_at};
    }

private:
    void receive(size_t from, size_t to)
    {
        const size_t size = to - from;
        if (recv(fd, received.data() + from, size, MSG_WAITALL) != static_cast<ssize_t>(size))
            throw std::runtime_error("no message of the daemon");
    }

    int fd;
    std::vector<char> received;
};

/* Writes lines as the server does, each in one call, to a file next to its log. */
class Log {
public:
    explicit Log(const std::string &path)
        : fd(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600))
    {
    }
    ~Log() { close(fd); }
    Log(const Log &) = delete;
    Log &operator=(const Log &) = delete;

    void write(std::string_view text) const
    {
        if (::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            throw std::runtime_error("cannot write to the log");
    }

private:
    int fd;
};

/* A process in the server's place, between a client and the daemon: an exchange costs more there
 * than in a loop, as the processor changes between three processes and each finds the caches full
 * of what the others use. */
class Relay {
public:
    /* What it does for a client: nothing, or write the lines and ask the daemon. */
    enum Order : char { ANSWER, EXCHANGE };

    Relay(const std::string &command, const std::vector<std::string> &lines, const Log &log)
    {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            throw std::runtime_error("socketpair");
        child = fork();
        if (child == 0) {
            close(ends[0]);
            serve(ends[1], command, lines, log);
        }
        close(ends[1]);
        fd = ends[0];
    }
    ~Relay()
    {
        close(fd);
        waitpid(child, nullptr, 0);
    }
    Relay(const Relay &) = delete;
    Relay &operator=(const Relay &) = delete;

    void ask(Order order) const
    {
        char answer;
        if (send(fd, &order, 1, MSG_NOSIGNAL) != 1 || recv(fd, &answer, 1, 0) != 1)
            throw std::runtime_error("the relay failed");
    }

private:
    [[noreturn]] static void serve(int client, const std::string &command,
                                   const std::vector<std::string> &lines, const Log &log)
    {
        try {
            Daemon daemon;
            char order;
            while (recv(client, &order, 1, 0) == 1) {
                if (order == EXCHANGE) {
                    for (const std::string &line : lines) log.write(line);
                    daemon.exchange(command);
                }
                send_all(client, &order, 1);
            }
        } catch (const std::exception &error) {
            fprintf(stderr, "bench: %s\n", error.what());
        }
        _exit(EXIT_SUCCESS);
    }

    int fd;
    pid_t child;
};

/* ---- Measuring ---- */

using Clock = std::chrono::steady_clock;
using Work = std::function<void()>;

double microseconds_of(const Work &work, int times)
{
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < times; ++i) work();
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count() / times;
}

/* What is taken of the rounds: the shortest of each, as other programs make a round longer and
 * never shorter; or the middle one, where a round takes long. */
enum class Pick { SHORTEST, MIDDLE };

double picked(Pick pick, std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[pick == Pick::SHORTEST ? 0 : values.size() / 2];
}

/* A part of a bound; or, with -1, of such a part what does not belong to it. */
struct Part {
    Work work;
    int sign = 1;
};

/* Measures the figure and the parts of its bound in turn, in blocks of so many, and prints the
 * figure next to the bound. `between` is done before each block. */
struct Measurement {
    Pick pick;
    int rounds, block;
    Work between;

    bool print(const std::string &what, double reach, const Work &figure,
               const std::vector<Part> &parts) const
    {
        std::vector<std::vector<double>> times(parts.size() + 1);
        for (int i = 0; i < rounds; ++i) {
            for (size_t k = 0; k < times.size(); ++k) {
                if (between) between();
                times[k].push_back(microseconds_of(k == 0 ? figure : parts[k - 1].work, block));
            }
        }
        double bound = 0;
        for (size_t k = 1; k < times.size(); ++k)
            bound += parts[k - 1].sign * picked(pick, times[k]);
        return print_figure(what, picked(pick, times[0]), bound, {Goal::TIMES_THE_BOUND, reach});
    }
};

/* ---- The device under test ---- */

constexpr uint32_t stream_get = 1, stream_set = 3, changes_get = 59;

/* A request and what it is compared with: the request for a static file, and an exchange with the
 * daemon and the lines in the log, as a relay does them. */
struct Row {
    const char *what;
    double reach;
    std::string request;
    int status;
    std::string file, command;
};

class Bench {
public:
    bool run(int another_processor);

private:
    bool latency(const Row &row);
    bool uploads();
    bool tail(const std::string &request, int processor);
    bool memory(const std::string &after, const Work &warm_up, const Work &work) const;
    long anonymous_memory() const;
    std::vector<std::string> new_log_lines(Client &client, const std::string &request,
                                           int status) const;

    Device device;
    const WebServer &server = device.server;
    Daemon daemon;
};

/* What the request adds to the server's log: the command's lines one by one, and the debug lines
 * together. */
std::vector<std::string> Bench::new_log_lines(Client &client, const std::string &request,
                                              int status) const
{
    const size_t before = server.log().size();
    client.exchange(request, status);
    const std::string logged = server.log().substr(before);
    std::string debug_lines;
    std::vector<std::string> lines;
    for (size_t at = 0, end; at < logged.size(); at = end) {
        end = logged.find('\n', at) + 1;
        const std::string line = logged.substr(at, end - at);
        if (line.find("(kelto_sysmgmt_command.") == line.npos) {
            debug_lines += line;
        } else {
            lines.push_back(line);
        }
    }
    if (lines.size() != 5) throw std::runtime_error("the log has other lines: " + logged);
    if (!debug_lines.empty()) lines.push_back(debug_lines);
    return lines;
}

bool Bench::latency(const Row &row)
{
    Client client(server.port());
    const Work request = [&] { client.exchange(row.request, row.status); };
    const std::vector<std::string> lines = new_log_lines(client, row.request, row.status);
    const Relay relay(row.command, lines, Log(server.root() + "/bench-log"));
    return Measurement{Pick::SHORTEST, 301, 50, {}}.print(
        row.what, row.reach, request,
        {{[&] { client.exchange(row.file, 200); }},
         {[&] { relay.ask(Relay::EXCHANGE); }},
         {[&] { relay.ask(Relay::ANSWER); }, -1}});
}

/* Copies as many temporary files as the server makes. */
void copy_mapped(const std::string &temporary, const std::string &to)
{
    const Log target(to);
    for (size_t i = 0; i < pieces; ++i) {
        const int fd = open((temporary + std::to_string(i)).c_str(), O_RDONLY | O_CLOEXEC);
        void *bytes = mmap(nullptr, piece_size, PROT_READ, MAP_SHARED, fd, 0);
        close(fd);
        target.write({static_cast<const char *>(bytes), piece_size});
        munmap(bytes, piece_size);
    }
}

bool Bench::uploads()
{
    Client client(server.port());
    const std::string target = upload_directory + std::string("package.bin");
    const std::string temporary = server.root() + "/upload/bench-";
    for (size_t i = 0; i < pieces; ++i) write_file(temporary + std::to_string(i), random_piece());
    const Measurement each = {Pick::MIDDLE, 11, 1, [&] { unlink(target.c_str()); }};
    const bool reached =
        each.print("upload of 256 MiB", 1.1, [&] { upload(client, true); },
                   {{[&] { upload(client, false); }}, {[&] { copy_mapped(temporary, target); }}});
    for (size_t i = 0; i < pieces; ++i) unlink((temporary + std::to_string(i)).c_str());
    return reached;
}

/* In KiB. */
long Bench::anonymous_memory() const
{
    const std::string status =
        read_file("/proc/" + std::to_string(server.process_id()) + "/status");
    return atol(status.c_str() + status.find("RssAnon:") + 8);
}

/* How much the work makes the server grow: after a warm-up, in which buffers get their sizes, no
 * more than four pages. */
bool Bench::memory(const std::string &after, const Work &warm_up, const Work &work) const
{
    warm_up();
    const auto before = static_cast<double>(anonymous_memory());
    work();
    return print_figure("memory after " + after + ", KiB", static_cast<double>(anonymous_memory()),
                        before, {Goal::TIMES_THE_BOUND, (before + 16) / before});
}

/* The ninetieth percentile next to the median, with the daemon on another processor: a list is
 * received in pieces while it is being sent, and nobody polls for it. */
bool Bench::tail(const std::string &request, int processor)
{
    run_on(device.simulator.process.id(), processor);
    Client client(server.port());
    std::vector<double> times;
    for (int i = 0; i < 6000; ++i) {
        times.push_back(microseconds_of([&] { client.exchange(request, 200); }, 1));
    }
    times.erase(times.begin(), times.begin() + 1000);
    std::sort(times.begin(), times.end());
    return print_figure("GET /api/stream, daemon apart, 90 % / 50 %", times[times.size() * 9 / 10],
                        times[times.size() / 2], {Goal::TIMES_THE_BOUND, 1.5});
}

bool Bench::run(int another_processor)
{
    const std::string changes = http("GET", "/api/changes"), streams = http("GET", "/api/stream"),
                      stream = http("PUT", "/api/stream/1", stream_form);
    const std::string record(daemon.exchange(message(stream_get, u32(1) + u32(1))));
    std::string changes_file, streams_file;
    {
        /* The first ones ask for the version, too, and make the buffers grow. */
        Client client(server.port());
        changes_file = http("GET", device.server.static_path(client.exchange(changes, 200)));
        streams_file = http("GET", device.server.static_path(client.exchange(streams, 200)));
    }
    const Row rows[] = {
        {"GET /api/changes", 1.15, changes, 200, changes_file, message(changes_get, "")},
        {"GET /api/stream, 100 streams", 1.4, streams, 200, streams_file, message(stream_get, "")},
        {"PUT /api/stream/1, every field", 1.4, stream, 204, changes_file,
         message(stream_set, record)},
    };
    print_heading("Through the server", "us");
    bool reached = true;
    for (const Row &row : rows) reached &= latency(row);

    Client one(server.port()), other(server.port());
    const auto mixed_requests = [&](int count) {
        for (int i = 0; i < count; i += 2) {
            one.exchange(i % 100 == 0 ? streams : changes, 200);
            other.exchange(stream, 204);
        }
    };
    reached &= memory(
        "100,000 requests", [&] { mixed_requests(2000); }, [&] { mixed_requests(100000); });
    const auto some_uploads = [&] {
        for (int i = 0; i < 4; ++i) upload(one, i % 2 == 0);
    };
    reached &= memory("the uploads", some_uploads, [&] { reached &= uploads(); });
    if (another_processor == -1) {
        printf("Left out: a daemon on another processor, as there is none\n");
        return reached;
    }
    return tail(streams, another_processor) && reached;
}

} // namespace

int main()
{
    try {
        const int another = another_processor();
        run_on(0, sched_getcpu());
        return Bench().run(another) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception &error) {
        fprintf(stderr, "bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
