/* The example configuration with the simulated daemon, as the README starts them. */
#include <unistd.h>

#include "tests/e2e/exchange.h"

namespace {

TEST(Demo, PageAndResources)
{
    const PrivateDirectory directory;
    const std::string log = directory.path + "/log";
    Process simulator({SYSMNGD_SIM}, log);
    ASSERT_TRUE(
        wait_until([&] { return read_file(log).find("listening on") != std::string::npos; }));

    WebServer server("include \"" KELTO_DEMO "/lighttpd.conf\"\n");
    const HttpClient client{server.port()};
    const std::string page = client.get("/").header("location");
    EXPECT_EQ(page.substr(0, 2), "/v");
    EXPECT_NE(client.get(page).body.find("<title>"), std::string::npos);
    EXPECT_EQ(client.get("/api/uptime").body.substr(0, 18), "[ {\"dateTime\" : \"2");
    EXPECT_EQ(client.get("/api/changes").body.substr(0, 19), "[ {\"channelList\" : ");
    EXPECT_EQ(server.stop(), 0) << server.log();
    EXPECT_EQ(simulator.stop(SIGINT), 0) << read_file(log);
    EXPECT_NE(access(daemon_socket_path, F_OK), 0) << "the socket is left behind";
}

} // namespace
