/* What becomes of paths and methods on a real server. */
#include <tuple>

#include "tests/e2e/exchange.h"

namespace {

using Routing = Exchange;

/* On all servers a 405 reaches the client with its "Allow" and without a page. */
TEST_F(Routing, MethodsThatARouteDoesNotAccept)
{
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"HEAD", "/api/uptime", "GET"},         {"OPTIONS", "/api/uptime", "GET"},
        {"POST", "/api/uptime", "GET"},         {"PUT", "/api/login", "POST,GET"},
        {"GET", "/api/stream/select/7", "PUT"}, {"POST", "/api/stream/7", "GET,PUT,DELETE"},
    };
    for (const auto &[method, path, allow] : cases) {
        SCOPED_TRACE(std::string(method) + " " + path);
        const Response response = client.request(method, path);
        EXPECT_EQ(response.status, 405);
        EXPECT_EQ(response.own_headers(), std::vector<std::string>{std::string("allow: ") + allow});
        EXPECT_EQ(response.body, "");
    }
    EXPECT_TRUE(daemon.take_requests().empty());
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
