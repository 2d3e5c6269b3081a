/* Which path and method reach which command, and what everything else gets. */
#include <map>

#include "tests/e2e/exchange.h"

namespace {

constexpr int none = -1; /* an answer without a command */

struct RouteCase {
    const char *path;
    const char *allow;
    std::map<std::string, int> commands; /* by method */
};

const RouteCase routes[] = {
    {"/api/stream", "GET,POST", {{"GET", 1}, {"POST", 2}}},
    {"/api/stream/12", "GET,PUT,DELETE", {{"GET", 1}, {"PUT", 3}, {"DELETE", 4}}},
    {"/api/stream/select", "GET", {{"GET", none}}},
    {"/api/stream/select/7", "PUT", {{"PUT", 5}}},
    {"/api/decoder", "GET,PUT", {{"GET", 6}, {"PUT", none}}},
    {"/api/decoder/video", "GET,PUT", {{"GET", 8}, {"PUT", 9}}},
    {"/api/decoder/audio", "GET,PUT", {{"GET", 10}, {"PUT", 11}}},
    {"/api/decoder/configuration", "GET,PUT", {{"GET", 12}, {"PUT", 13}}},
    {"/api/decoder/vbianc", "GET,PUT", {{"GET", 14}, {"PUT", 15}}},
    {"/api/decoder/talkback", "GET,PUT", {{"GET", 16}, {"PUT", 17}}},
    {"/api/channel", "GET", {{"GET", 18}}},
    {"/api/channel/start", "PUT", {{"PUT", 19}}},
    {"/api/channel/stop", "PUT", {{"PUT", 20}}},
    {"/api/channel/info", "GET", {{"GET", 21}}},
    {"/api/network", "GET,PUT", {{"GET", 22}, {"PUT", 23}}},
    {"/api/sap", "GET,PUT", {{"GET", 24}, {"PUT", 25}}},
    {"/api/sap/stream", "GET,POST", {{"GET", 26}, {"POST", none}}},
    {"/api/security", "GET,PUT", {{"GET", 28}, {"PUT", 29}}},
    {"/api/security/certificate", "POST", {{"POST", 30}}},
    {"/api/security/certificate/default", "PUT", {{"PUT", 31}}},
    {"/api/notice", "GET", {{"GET", 32}}},
    {"/api/sysdatetime", "GET,PUT", {{"GET", 33}, {"PUT", 34}}},
    {"/api/ports", "GET", {{"GET", 35}}},
    {"/api/leds", "GET", {{"GET", 36}}},
    {"/api/services", "GET,PUT", {{"GET", 37}, {"PUT", 38}}},
    {"/api/configuration", "GET,POST", {{"GET", 39}, {"POST", 40}}},
    {"/api/configuration/3", "GET,PUT,DELETE", {{"GET", 39}, {"PUT", 41}, {"DELETE", 42}}},
    {"/api/configuration/activate", "GET", {{"GET", none}}},
    {"/api/configuration/activate/3", "PUT", {{"PUT", 43}}},
    {"/api/general", "GET", {{"GET", 44}}},
    {"/api/general/restart", "PUT", {{"PUT", 45}}},
    {"/api/general/factoryReset", "PUT", {{"PUT", 46}}},
    {"/api/general/firmwareUpgrade", "POST", {{"POST", 47}}},
    {"/api/general/upgradeStatus", "GET", {{"GET", 48}}},
    {"/api/general/freespace", "GET", {{"GET", 49}}},
    {"/api/general/uidLed", "POST", {{"POST", none}}},
    {"/api/uptime", "GET", {{"GET", 52}}},
    {"/api/login", "POST,GET", {{"GET", none}, {"POST", none}}},
    {"/api/logout", "GET,POST", {{"GET", none}, {"POST", none}}},
    {"/api/talkback", "GET", {{"GET", none}}},
    {"/api/talkback/start", "PUT", {{"PUT", 57}}},
    {"/api/talkback/stop", "PUT", {{"PUT", 58}}},
    {"/api/changes", "GET", {{"GET", 59}}},
    {"/api/zixiStats", "GET", {{"GET", 60}}},
    {"/api/srtStats", "GET", {{"GET", 61}}},
};

using Routing = Exchange;

TEST_F(Routing, EveryMethodOfEveryRoute)
{
    for (const RouteCase &route : routes) {
        for (const char *method : {"GET", "HEAD", "POST", "PUT", "DELETE", "OPTIONS"}) {
            SCOPED_TRACE(std::string(method) + " " + route.path);
            const Response response = client.request(method, route.path);
            std::vector<int> sent;
            for (const Request &request : daemon.take_requests()) {
                sent.push_back(static_cast<int>(request.command));
            }
            const auto accepted = route.commands.find(method);
            if (accepted == route.commands.end()) {
                EXPECT_EQ(response.status, 405);
                EXPECT_EQ(response.own_headers(),
                          std::vector<std::string>{std::string("allow: ") + route.allow});
                EXPECT_EQ(response.body, "");
                EXPECT_TRUE(sent.empty());
            } else {
                EXPECT_NE(response.status, 405);
                EXPECT_EQ(sent, accepted->second == none ? std::vector<int>{}
                                                         : std::vector<int>{accepted->second});
            }
        }
    }
}

TEST_F(Routing, AnswersWithoutACommand)
{
    for (const char *path : {"/api/login", "/api/logout", "/api/general/uidLed"}) {
        const Response response = client.request("POST", path, "user=a");
        EXPECT_EQ(response.status, 200) << path;
        EXPECT_EQ(response.body, "[ {} ]") << path;
        EXPECT_EQ(response.own_headers(), json_headers) << path;
    }
    const std::pair<const char *, const char *> empty[] = {
        {"GET", "/api/stream/select"}, {"PUT", "/api/decoder"},
        {"POST", "/api/sap/stream"},   {"GET", "/api/configuration/activate"},
        {"GET", "/api/login"},         {"GET", "/api/logout"},
        {"GET", "/api/talkback"},
    };
    for (const auto &[method, path] : empty) {
        const Response response = client.request(method, path);
        EXPECT_EQ(response.status, 200) << path;
        EXPECT_EQ(response.body, "") << path;
        EXPECT_EQ(response.own_headers(), std::vector<std::string>{}) << path;
    }
}

TEST_F(Routing, OneTrailingSlashIsNoDifference)
{
    client.request("DELETE", "/api/stream/12/");
    const std::vector<Request> requests = daemon.take_requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(to_hex(requests[0].bytes),
              "04 00 00 00 15 00 00 00 FF FF FF FF D3 0C 00 00 00 0C 00 00 00");
}

TEST_F(Routing, UnknownPathsAreTheServers)
{
    const std::string long_path = "/api/" + std::string(507, 'x');
    for (const std::string path : {"/api", "/api/", "/api/Uptime", "/api/uptime%20",
                                   "/api/stream/12a", "/apix", long_path.c_str()}) {
        const Response response = client.get(path);
        EXPECT_EQ(response.status, 404) << path;
        EXPECT_EQ(response.header("content-type"), "text/html") << path;
    }
    EXPECT_TRUE(daemon.take_requests().empty());
}

struct PathCase {
    const char *path;
    int status;
    const char *result; /* the redirect's "Location", or the file's content */
};

/* The software version is rel5. */
const PathCase paths[] = {
    {"/", 307, "/vrel5"},
    {"/index.html?a=b", 307, "/vrel5/index.html"},
    {"/a%20b%3F/", 307, "/vrel5/a b?"},
    {"/vrel5", 200, "the index"},
    {"/vrel5/js/app.js", 200, "the script"},
    {"/vrel5/help/", 200, "the help"},
    {"/vrel4/js/app.js", 307, "/vrel5/js/app.js"},
    {"/views/main.html", 200, "the view"},
    {"/apidoc", 200, "the document"},
};

TEST_F(Routing, VersionedPaths)
{
    write_file(server.root() + "/www/index.html", "the index");
    write_file(server.root() + "/www/js/app.js", "the script");
    write_file(server.root() + "/www/help", "the help");
    write_file(server.root() + "/www/views/main.html", "the view");
    write_file(server.root() + "/www/apidoc", "the document");
    for (const PathCase &c : paths) {
        SCOPED_TRACE(c.path);
        const Response response = client.get(c.path);
        EXPECT_EQ(response.status, c.status);
        EXPECT_EQ(c.status == 307 ? response.header("location") : response.body, c.result);
    }
    EXPECT_TRUE(daemon.take_requests().empty()) << "the version is asked for once";
}

TEST(VersionLookup, IsTheFirstCommandOfTheFirstRequest)
{
    FakeDaemon daemon;
    const WebServer server;
    HttpClient{server.port()}.get("/api/uptime");
    const std::vector<Request> requests = daemon.take_requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(to_hex(requests[0].bytes), "2C 00 00 00 0D 00 00 00 FF FF FF FF CB");
    EXPECT_EQ(to_hex(requests[1].bytes), "34 00 00 00 0D 00 00 00 FF FF FF FF C3");
}

TEST(Start, IsRefusedWithoutADaemon)
{
    try {
        const WebServer server;
        FAIL() << "the server came up";
    } catch (const std::runtime_error &error) {
        EXPECT_NE(std::string(error.what()).find("kelto_sysmgmt"), std::string::npos)
            << error.what();
    }
}

} // namespace
