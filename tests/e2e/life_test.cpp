/* What an operator does to a running server: workers, signals, restarts. */
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "tests/e2e/fixtures.h"
#include "tests/support/sockets.h"

namespace {

using Life = Exchange;

void expect_refusal(const std::string &why, const std::string &more_config = "")
{
    try {
        const WebServer server(WebServer::default_config() + more_config);
        FAIL() << "It came up.";
    } catch (const std::runtime_error &error) {
        EXPECT_NE(std::string(error.what()).find(why), std::string::npos) << error.what();
    }
}

TEST(Start, IsRefusedWithoutADaemon)
{
    expect_refusal("kelto_sysmgmt");
    const int listener = unix_socket(SOCK_STREAM), waiting = unix_socket(SOCK_STREAM);
    ASSERT_TRUE(bind_to(listener, daemon_socket_path));
    expect_refusal("kelto_sysmgmt");
    ASSERT_EQ(listen(listener, 0), 0);
    ASSERT_TRUE(connect_to(waiting, daemon_socket_path));
    expect_refusal("kelto_sysmgmt"); /* there is room for one that waits */
    close(waiting);
    close(listener);
    unlink(daemon_socket_path);
}

TEST_F(Life, WorkersDoNotShareTheLink)
{
    if (server_under_test().stock) GTEST_SKIP() << "left to the operator";
    for (const char *workers : {"0", "1"}) {
        restart(std::string("server.max-worker = ") + workers + "\n");
        expect_good_exchange();
        EXPECT_EQ(server->stop(), 0);
    }
    expect_refusal("needs server.max-worker = 0 or 1", "server.max-worker = 2\n");
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
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(client.get("/api/stream/7").status, 200);
        EXPECT_EQ(client.put("/api/sap", "port=5004").status, 204);
        EXPECT_EQ(client.get("/index.html").status, 307);
        daemon.take_requests();
        if (i == 2) break;
        kill(server->process_id(), SIGUSR1);
        /* The first request after a restart asks for the version. */
        ASSERT_TRUE(wait_until([&] {
            client.get("/views/none");
            return !daemon.take_requests().empty();
        }));
    }
    EXPECT_EQ(server->stop(), 0) << server->log();
    EXPECT_EQ(server->log().find("LeakSanitizer"), std::string::npos);
}

} // namespace
