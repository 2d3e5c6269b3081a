/* What an operator does to a running server: workers, signals, restarts. */
#include <signal.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/e2e/exchange.h"

namespace {

using Life = Exchange;

TEST_F(Life, WorkersDoNotShareTheLink)
{
    if (server_under_test().stock) GTEST_SKIP() << "left to the operator";
    /* A server with workers ends its whole process group. */
    const auto config = [](const std::string &workers) {
        return WebServer::default_config() + "server.max-worker = " + workers + "\n";
    };
    for (const char *workers : {"0", "1"}) {
        server.emplace(config(workers), true);
        client.port = server->port();
        expect_good_exchange();
        EXPECT_EQ(server->stop(), 0);
    }
    const std::string said = refusal_to_start(config("2"));
    EXPECT_NE(said.find("needs server.max-worker = 0 or 1"), std::string::npos) << said;
}

/* The server unloads the module and loads it again in the same process. What an unloaded module
 * has not given back, LeakSanitizer reports when the server ends, and changes its status. */
TEST_F(Life, RestartsLeaveNothingBehind)
{
    if (std::string(LEAK_SANITIZER).empty()) GTEST_SKIP() << "there is no LeakSanitizer";
    const std::string record = u32(7) + "a < b" + text_field("", 1685);
    daemon.answer(1, {Step::send(reply(1, 1, record))});
    server.reset();
    setenv("LD_PRELOAD", LEAK_SANITIZER, 1);
    restart();
    unsetenv("LD_PRELOAD");
    const auto use_everything = [&] {
        EXPECT_EQ(client.get("/api/stream/7").status, 200);
        EXPECT_EQ(client.put("/api/sap", "port=5004").status, 204);
        EXPECT_EQ(client.get("/index.html").status, 307);
        daemon.take_requests();
    };
    for (int i = 0; i < 2; ++i) {
        use_everything();
        kill(server->process_id(), SIGUSR1);
        /* The first request after a restart asks for the version. */
        const bool restarted = wait_until([&] {
            client.get("/views/none");
            return !daemon.take_requests().empty();
        });
        ASSERT_TRUE(restarted);
    }
    use_everything();
    EXPECT_EQ(server->stop(), 0) << server->log();
    EXPECT_EQ(server->log().find("LeakSanitizer"), std::string::npos);
}

} // namespace
