/* A daemon that takes its time: who waits for it, and who does not. */
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <memory>

#include "tests/e2e/fixtures.h"

namespace {

constexpr uint32_t general_firmware_upgrade = 47;

using Clock = std::chrono::steady_clock;

int64_t ms_since(Clock::time_point begin)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
}

class Stall : public Exchange {
protected:
    void SetUp() override
    {
        if (server_under_test().stock) GTEST_SKIP() << "everybody waits there";
        Exchange::SetUp();
        write_file(server->root() + "/www/page.html", "a page");
    }

    void TearDown() override { EXPECT_EQ(server ? server->stop() : 0, 0) << server->log(); }

    /* The daemon answers such a command after that time. */
    void be_slow(int ms)
    {
        daemon.answer(changes_get,
                      {Step::pause(ms), Step::send(reply(changes_get, 1, changes_record))});
    }

    /* Sends a request and leaves its answer alone. */
    std::unique_ptr<RawConnection> begin(const std::string &path) const
    {
        auto connection = std::make_unique<RawConnection>(server->port());
        connection->send("GET " + path + " HTTP/1.1\r\nHost: a\r\n\r\n");
        usleep(50000);
        return connection;
    }

    /* What mod_status tells of the module under this name. */
    int statistic(const std::string &name) const
    {
        const std::string all = client.get("/statistics").body;
        const size_t at = all.find("kelto_sysmgmt." + name + ": ");
        return at == std::string::npos ? -1 : atoi(all.c_str() + all.find(": ", at) + 2);
    }
};

/* Pages, redirects and answers that need no daemon, over both protocols, while a command is
 * under way and others are in line. */
TEST_F(Stall, HoldsUpNobodyElse)
{
    be_slow(1500);
    const Clock::time_point began = Clock::now();
    const std::unique_ptr<RawConnection> slow[] = {begin("/api/changes"), begin("/api/changes"),
                                                   begin("/api/changes")};
    HttpClient http2 = client;
    http2.http2 = true;
    for (int i = 0; i < 100; ++i) {
        const Clock::time_point asked = Clock::now();
        EXPECT_EQ(client.get("/vrel5/page.html").body, "a page");
        EXPECT_EQ(http2.get("/vrel5/page.html").body, "a page");
        EXPECT_EQ(client.get("/index.html").status, 307);
        EXPECT_EQ(http2.request("POST", "/api/changes", "x").status, 405);
        EXPECT_EQ(client.request("POST", "/api/login", "x").status, 200);
        EXPECT_LT(ms_since(asked), 500);
    }
    EXPECT_LT(ms_since(began), 4000);
    for (const auto &one : slow) {
        const Response response = one->receive();
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.body, changes_text);
        EXPECT_EQ(response.own_headers(), json_headers);
    }
    EXPECT_GE(ms_since(began), 4500);
}

/* It comes back before the server's patience ends, again and again while the daemon is silent. */
TEST_F(Stall, DropsNoClientThatIsKeptAlive)
{
    restart("server.max-keep-alive-idle = 2\n");
    write_file(server->root() + "/www/page.html", "a page");
    be_slow(4000);
    RawConnection kept(server->port());
    const auto slow = begin("/api/changes");
    const Clock::time_point began = Clock::now();
    for (int i = 0; i < 4; ++i) {
        kept.send("GET /vrel5/page.html HTTP/1.1\r\nHost: a\r\n\r\n");
        EXPECT_EQ(kept.receive().body, "a page") << i;
        EXPECT_LT(ms_since(began), 1400 * i + 1000);
        usleep(1400000);
    }
    EXPECT_EQ(slow->receive().body, changes_text);
}

/* A slow client does not hold the link either: its body is read before it is its turn. */
TEST_F(Stall, IsNotMadeByASlowBody)
{
    RawConnection sender(server->port());
    sender.send("PUT /api/sap HTTP/1.1\r\nHost: a\r\nContent-Length: 9\r\n\r\nport=");
    usleep(50000);
    expect_good_exchange();
    sender.send("5004");
    EXPECT_EQ(sender.receive().status, 204);
}

TEST_F(Stall, ForgetsClientsThatGoAway)
{
    daemon.answer(uptime_get, {Step::send(reply(uptime_get, 1, std::string(518, '\0')))});
    be_slow(1000);
    auto under_way = begin("/api/changes"), in_line = begin("/api/leds");
    const auto patient = begin("/api/uptime");
    under_way.reset();
    in_line.reset();
    EXPECT_EQ(patient->receive().status, 200);
    const std::vector<Request> requests = daemon.take_requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].command, changes_get);
    EXPECT_EQ(requests[1].command, uptime_get);
    expect_good_exchange();
}

/* The first request of a process asks for the version: pages and the API wait for it, other
 * modules do not. */
TEST_F(Stall, WaitsForTheVersionWhereItIsNeeded)
{
    const std::string general = text_field("", 765) + text_field("rel5", 255);
    daemon.answer(general_get, {Step::pause(1000), Step::send(reply(general_get, 1, general))});
    serve(WebServer::default_config() +
          "server.modules := ( \"mod_status\", \"mod_kelto_sysmgmt\" )\n"
          "status.statistics-url = \"/statistics\"\n");
    be_slow(1000);
    const Clock::time_point began = Clock::now();
    const auto slow = begin("/api/changes"), behind = begin("/api/changes");
    EXPECT_EQ(statistic("requests-waiting"), 2);
    EXPECT_LT(ms_since(began), 900);
    EXPECT_EQ(client.get("/index.html").status, 307);
    EXPECT_GE(ms_since(began), 900);
    EXPECT_LT(ms_since(began), 1900) << "the page waited for a command, too";
    EXPECT_EQ(slow->receive().body, changes_text);
    EXPECT_EQ(behind->receive().body, changes_text);
    EXPECT_EQ(statistic("requests-waiting"), 0);
    EXPECT_EQ(statistic("commands-sent"), 3);
    EXPECT_EQ(statistic("commands-failed"), 0);
    EXPECT_EQ(statistic("commands-timed-out"), 0);
    EXPECT_GE(statistic("longest-wait-ms"), 900);
    EXPECT_LT(statistic("longest-wait-ms"), 4000);
}

/* Stopped and restarted with a command under way and others in line. */
TEST_F(Stall, EndsWithTheServer)
{
    be_slow(3000);
    auto under_way = begin("/api/changes"), in_line = begin("/api/leds");
    kill(server->process_id(), SIGTERM);
    EXPECT_LT(server->stop(), 128) << server->log();
    daemon.wait_until_idle();

    restart();
    be_slow(500);
    under_way = begin("/api/changes");
    in_line = begin("/api/changes");
    kill(server->process_id(), SIGUSR1);
    EXPECT_EQ(under_way->receive().body, changes_text);
    EXPECT_EQ(in_line->receive().body, changes_text);
    EXPECT_TRUE(wait_until([&] { return client.get("/views/none").status == 404; }));
    expect_good_exchange();
}

/* The thread is given back between two pieces. */
TEST_F(Stall, IsNotMadeByAnUpload)
{
    daemon.answer(general_firmware_upgrade,
                  {Step::send(reply(general_firmware_upgrade, 1, std::string(266, '\0')))});
    const std::vector<Part> package = {{"packageName", "p.bin", std::string(200 << 20, 'u')}};
    std::future<Response> upload = std::async(
        std::launch::async, [&] { return client.upload("/api/general/firmwareUpgrade", package); });
    int pages = 0;
    for (; upload.wait_for(Clock::duration(0)) != std::future_status::ready; ++pages) {
        const Clock::time_point asked = Clock::now();
        EXPECT_EQ(client.get("/vrel5/page.html").body, "a page");
        EXPECT_LT(ms_since(asked), 1000);
    }
    EXPECT_EQ(upload.get().status, 200);
    EXPECT_EQ(unlink("/mnt/data/p.bin"), 0);
    EXPECT_GT(pages, 100);
}

} // namespace
