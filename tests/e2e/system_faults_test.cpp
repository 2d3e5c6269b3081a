/* Faults of the system around a real server. While each lasts, and after it, other requests are
 * answered as ever; behind it no file and no descriptor is left. */
#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <thread>

#include "tests/e2e/mixed_requests.h"

namespace {

namespace fs = std::filesystem;

/* The upload directory and the server's own. */
constexpr size_t directories = 2;

class SystemFaults : public Device {
protected:
    void begin(Texts options = {}, const std::string &config = "")
    {
        options.insert(options.end(), slow_leds.begin(), slow_leds.end());
        start(options, config);
        count_descriptors();
    }

    /* When the module has once waited for the daemon. */
    void count_descriptors()
    {
        ASSERT_EQ(entries_below("/mnt"), directories) << "this needs a /mnt of its own";
        expect_good_requests();
        EXPECT_EQ(client.get("/api/leds").status, 200);
        idle = settled(*server).descriptors;
    }

    void TearDown() override
    {
        if (server) expect_nothing_left();
        Device::TearDown();
    }

    std::string process() const { return "/proc/" + std::to_string(server->process_id()); }
    size_t descriptors() const { return entries_below(process() + "/fd"); }

    /* The server may close and remove after it has answered, and after a clock jump it restarts
     * itself within five seconds: the module then has to wait once more. */
    void expect_nothing_left()
    {
        wait_until([&] {
            if (descriptors() == idle && entries_below("/mnt") == directories) return true;
            client.get("/api/leds");
            return false;
        });
        EXPECT_EQ(descriptors(), idle);
        EXPECT_EQ(entries_below("/mnt"), directories);
    }

    /* Puts a limit on the server. Returns the one before. */
    rlim_t limit(__rlimit_resource resource, rlim_t soft) const
    {
        rlimit now = {};
        EXPECT_EQ(prlimit(server->process_id(), resource, nullptr, &now), 0);
        const rlimit lower = {soft, now.rlim_max};
        EXPECT_EQ(prlimit(server->process_id(), resource, &lower, nullptr), 0);
        return now.rlim_cur;
    }

    void expect_upload(size_t size, int status, const std::string &body = "")
    {
        const std::string content(size, 'x');
        const Response response =
            client.upload("/api/security/certificate", {{"certificateName", "x.pem", content}});
        EXPECT_EQ(response.status, status);
        EXPECT_TRUE(body.empty() || response.body == body) << response.body;
    }

    void expect_good_upload()
    {
        expect_upload(100000, 200,
                      "[ {\"status\" : \"OK\", \"message\" : \"x.pem is the certificate now.\"} ]");
        EXPECT_EQ(unlink("/mnt/data/x.pem"), 0);
    }

    void expect_good_requests()
    {
        EXPECT_EQ(ask("PUT /api/sap port=5004").status, 204);
        expect_text(get("/api/sap"), "'port' : 5004");
        EXPECT_EQ(client.get("/index.html").status, 307);
    }

    const Texts slow_leds = {"--fault", "delay=50@CMD_LEDS_GET"};
    size_t idle = 0; /* descriptors that are always open */
};

const std::string unreadable =
    "[ {\"status\" : \"ERROR\", \"message\" : "
    "\"The file /mnt/data/x.pem can't be read: No such file or directory.\"} ]";

TEST_F(SystemFaults, OfDisks)
{
    ASSERT_NO_FATAL_FAILURE(begin());
    for (const Row &row : table("disks.txt", 4)) {
        const std::string &place = row[0], &options = row[1];
        SCOPED_TRACE(testing::PrintToString(row));
        const bool is_missing = options == "missing", is_read_only = options == "read-only";
        if (is_missing) {
            fs::rename(place, place + ".aside");
        } else {
            const void *const size = is_read_only ? nullptr : options.c_str();
            ASSERT_EQ(mount("none", place.c_str(), "tmpfs", is_read_only ? MS_RDONLY : 0, size), 0);
        }
        for (int i = 0; i < 3; ++i) {
            expect_upload(std::stoul(row[2]), std::stoi(row[3]), row[3] == "400" ? unreadable : "");
            expect_good_requests();
            expect_nothing_left();
        }
        if (is_missing) {
            fs::rename(place + ".aside", place);
        } else {
            EXPECT_EQ(umount(place.c_str()), 0) << "something is still open there";
        }
        expect_good_upload();
        expect_nothing_left();
    }
}

TEST_F(SystemFaults, AFullLogDisk)
{
    const PrivateDirectory disk;
    const std::string log = disk.path + "/error.log";
    ASSERT_EQ(mount("none", disk.path.c_str(), "tmpfs", 0, "size=4k"), 0);
    begin({}, "server.errorlog = \"" + log + "\"\n");
    const std::string too_many(300000, '&');
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(client.put("/api/sap", "port=5004" + too_many).status, 204);
    }
    expect_good_requests();
    EXPECT_EQ(fs::file_size(log), 4096u) << "it was not full";
    ASSERT_EQ(mount("none", disk.path.c_str(), "tmpfs", MS_REMOUNT, "size=64k"), 0);
    client.put("/api/sap", "port=5004" + too_many);
    EXPECT_GT(fs::file_size(log), 4096u) << "logging does not go on";
    expect_nothing_left();
    EXPECT_EQ(server->stop(), 0);
    server.reset();
    EXPECT_EQ(umount(disk.path.c_str()), 0);
}

TEST_F(SystemFaults, StandardErrorOnAPipeThatNobodyReads)
{
    const std::string fifo = directory.path + "/fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int pipe = open(fifo.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    begin({}, "server.errorlog = \"/dev/null\"\nserver.breakagelog = \"" + fifo + "\"\n");
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(client.put("/api/sap", "port=5004&x=" + std::string(8000, 'x')).status, 204);
    }
    expect_good_requests();
    char byte;
    EXPECT_EQ(read(pipe, &byte, 1), 1) << "nothing was written there";
    close(pipe);
}

/* The server's clock of the day, moved by the file while it runs. */
TEST_F(SystemFaults, ClockJumps)
{
    if (server_under_test().stock) GTEST_SKIP() << "its time-outs go by the clock of the day";
    const char *library = KELTO_FAKETIME;
    if (access(library, R_OK) != 0) GTEST_SKIP() << "there is no " << library;
    const std::string clock = directory.path + "/clock";
    const auto set_clock = [&](const std::string &offset) {
        write_file(clock + ".new", offset + "\n");
        fs::rename(clock + ".new", clock);
    };
    set_clock("+0");
    setenv("FAKETIME_NO_CACHE", "1", 1);
    setenv("FAKETIME_DONT_FAKE_MONOTONIC", "1", 1);
    setenv("FAKETIME_TIMESTAMP_FILE", clock.c_str(), 1);
    setenv("LD_PRELOAD", library, 1);
    begin();
    unsetenv("LD_PRELOAD");
    std::string year = client.get("/api/sap").header("date");
    for (const char *offset : {"+3650d", "-3650d", "+10m", "-10m", "-20000d", "+0"}) {
        SCOPED_TRACE(offset);
        set_clock(offset);
        expect_good_requests();
        expect_good_upload();
        usleep(1100000); /* the server looks at the clock once a second */
        expect_good_requests();
        const std::string other = client.get("/api/sap").header("date");
        EXPECT_NE(other, year);
        year = other;
    }
}

TEST_F(SystemFaults, MoreThan1024Descriptors)
{
    const rlimit many = {8192, 8192};
    if (setrlimit(RLIMIT_NOFILE, &many) != 0) GTEST_SKIP() << "not allowed";
    std::vector<int> inherited;
    while (inherited.empty() || inherited.back() < 1500) inherited.push_back(dup(1));
    begin({"--fault", "delay=5@CMD_SECURITY_CERTIFICATE"}, "server.max-fds = 8192\n");
    for (const int fd : inherited) close(fd);
    EXPECT_GT(idle, 1500u);
    for (int i = 0; i < 20; ++i) expect_good_upload();

    std::vector<std::unique_ptr<RawConnection>> clients;
    for (int i = 0; i < 1500; ++i) {
        clients.push_back(std::make_unique<RawConnection>(server->port()));
        clients.back()->send("GET /api/sap HTTP/1.1\r\nHost: test\r\n\r\n");
    }
    for (const auto &one : clients) expect_text(one->receive().body, "'port' : 5004");
}

/* As a log rotation, the end of a CGI program or a terminal's new size may send, a thousand of each
 * a second. */
TEST_F(SystemFaults, SignalsInAStorm)
{
    begin({"--streams", "500"});
    std::atomic<bool> over = false;
    std::thread sender([&] {
        for (; !over; usleep(1000)) {
            for (const int signal : {SIGHUP, SIGCHLD, SIGALRM, SIGPIPE, SIGCONT, SIGWINCH})
                kill(server->process_id(), signal);
        }
    });
    for (int i = 0; i < 20; ++i) {
        expect_good_requests();
        expect_good_upload();
        EXPECT_EQ(client.get("/api/leds").status, 200);
        expect_text(get("/api/stream"), "'id' : '500'");
    }
    over = true;
    sender.join();
}

TEST_F(SystemFaults, NoDescriptorsLeft)
{
    begin();
    rlim_t limit_number = 0;
    for (int left = 2; left > 0; ++limit_number) { /* the connection has the first */
        left -= fs::is_symlink(process() + "/fd/" + std::to_string(limit_number)) ? 0 : 1;
    }
    const rlim_t before = limit(RLIMIT_NOFILE, limit_number - 1);
    for (int i = 0; i < 3; ++i) {
        expect_upload(300, 400, unreadable);
        expect_good_requests();
    }
    limit(RLIMIT_NOFILE, before);
    expect_good_upload();
}

TEST_F(SystemFaults, NoAddressSpaceLeft)
{
    begin({"--streams", "5000"});
    const rlim_t pages = std::stoul(read_file(process() + "/statm"));
    const rlim_t before = limit(RLIMIT_AS, pages * 4096 + 1024 * 1024);
    for (int i = 0; i < 3; ++i) {
        expect_failure(client.get("/api/stream"), 507);
        expect_good_requests();
        expect_good_upload();
    }
    limit(RLIMIT_AS, before);
    const Response response = client.get("/api/stream");
    EXPECT_EQ(response.status, 200);
    expect_text(response.body, "'id' : '5000'");
}

TEST_F(SystemFaults, AStoppedDaemonGoesOn)
{
    begin();
    for (int i = 0; i < 5; ++i) {
        kill(simulator->id(), SIGSTOP);
        std::vector<std::thread> others;
        for (int j = 0; j < 3; ++j) others.emplace_back([this] { expect_good_requests(); });
        others.emplace_back([this] {
            usleep(300000);
            kill(simulator->id(), SIGCONT);
        });
        expect_good_upload();
        for (std::thread &other : others) other.join();
    }
}

/* The link is made when the server starts: a server keeps its daemon, and a restarted one finds
 * the new one. */
TEST_F(SystemFaults, AnotherDaemonOnTheSocket)
{
    begin({"--software", "old"});
    const std::string path = "/tmp/sysmng_web_plugin.socket";
    fs::rename(path, path + ".old");
    Process other({SYSMNGD_SIM, "--software", "new", slow_leds[0], slow_leds[1]},
                  directory.path + "/other");
    ASSERT_TRUE(wait_until([&] { return fs::exists(path); }));
    expect_text(get("/api/general"), "'software' : 'old'");
    expect_good_requests();

    simulator->stop(SIGKILL);
    simulator.reset();
    unlink((path + ".old").c_str());
    for (int i = 0; i < 3; ++i) {
        expect_failure(client.get("/api/general"), 500);
        EXPECT_EQ(client.get("/index.html").status, 307);
    }
    kill(server->process_id(), SIGUSR1);
    ASSERT_TRUE(wait_until([&] { return client.get("/api/general").status == 200; }));
    expect_text(get("/api/general"), "'software' : 'new'");
    expect_good_requests();
    EXPECT_EQ(client.get("/api/leds").status, 200);
    expect_nothing_left();
    server->stop();
    server.reset();
}

} // namespace
