/* Which requests the module takes, and which it hands back. */
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "module/version_path.h"
#include "server/hosting/hosting.h"
#include "tests/support/module_host.h"

namespace {

constexpr uint32_t none = 0; /* an answer without a command */

struct RouteCase {
    const char *path;
    const char *allow;
    std::map<std::string, uint32_t> commands; /* by method */
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

class Dispatcher : public ModuleTest {};

TEST_F(Dispatcher, KnowsEveryRoutesMethods)
{
    const char *const methods[] = {"GET", "HEAD", "POST", "PUT", "DELETE", "CONNECT", "OPTIONS"};
    for (const RouteCase &route : routes) {
        for (int method = HTTP_METHOD_GET; method <= HTTP_METHOD_OPTIONS; ++method) {
            SCOPED_TRACE(methods[method] + std::string(" ") + route.path);
            will_send("no reply");
            const Answer answer = request(static_cast<http_method_t>(method), route.path);
            forget_replies();
            const auto accepted = route.commands.find(methods[method]);
            EXPECT_EQ(sent().type, accepted == route.commands.end() ? none : accepted->second);
            if (accepted != route.commands.end()) {
                EXPECT_NE(answer.status, 405);
                EXPECT_NE(answer.result, HANDLER_GO_ON);
                continue;
            }
            EXPECT_EQ(answer.status, 405);
            EXPECT_EQ(answer.result, HANDLER_FINISHED);
            EXPECT_TRUE(answer.finished);
            EXPECT_EQ(answer.mode, 3u);
            EXPECT_EQ(answer.body, "");
            ASSERT_EQ(answer.headers.size(), 1u);
            EXPECT_EQ(answer.header("Allow"), route.allow);
        }
    }
}

TEST_F(Dispatcher, HandsBackWhatIsNoRoute)
{
    for (const char *path :
         {"/api", "/api/", "/apix", "/api/unknown", "/api/Uptime", "/api/stream//",
          "/api/stream/12a", "/api/stream/-1", "/api/stream/12/3", "/views", "/views/main.html",
          "/viewsx", "/api/configuration/activate/x"}) {
        SCOPED_TRACE(path);
        const Answer answer = request(HTTP_METHOD_GET, path);
        EXPECT_EQ(answer.result, HANDLER_GO_ON);
        EXPECT_EQ(answer.status, 0);
        EXPECT_FALSE(answer.finished);
        EXPECT_EQ(answer.path, path);
        EXPECT_TRUE(answer.headers.empty());
    }
    EXPECT_EQ(sent().type, 0u);
}

TEST_F(Dispatcher, RemovesOneTrailingSlash)
{
    EXPECT_EQ(request(HTTP_METHOD_POST, "/api/login/").body, "[ {} ]");
    EXPECT_EQ(request(HTTP_METHOD_POST, "/api/login//").result, HANDLER_GO_ON);
}

TEST_F(Dispatcher, ReadsTheIdentifierFromThePath)
{
    struct {
        const char *path;
        std::string id;
    } const cases[] = {
        {"/api/stream/0", std::string(4, '\0')},
        {"/api/stream/12/", std::string("\x0C\0\0\0", 4)},
        {"/api/stream/0007", std::string("\x07\0\0\0", 4)},
        {"/api/stream/2147483647", std::string("\xFF\xFF\xFF\x7F", 4)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.path);
        will_reply(4, 1, "");
        EXPECT_EQ(request(HTTP_METHOD_DELETE, c.path).status, 204);
        EXPECT_EQ(sent().payload, c.id + c.id);
    }
}

TEST_F(Dispatcher, LeavesRequestsOfOtherModulesAlone)
{
    hosted_connection_reset(con);
    hosted_set_path(con, "/index.html");
    con->mode = 7;
    EXPECT_EQ(run().result, HANDLER_GO_ON);
    EXPECT_EQ(con->http_status, 0);
    hosted_connection_reset(con);
    EXPECT_EQ(run().result, HANDLER_GO_ON) << "an empty path";
}

TEST_F(Dispatcher, LeavesPathsThatAreTooLongToTheServer)
{
    const std::string fits = "/" + std::string(510, 'x');
    EXPECT_EQ(request(HTTP_METHOD_GET, fits).header("Location"), "/vrel5" + fits);
    EXPECT_EQ(request(HTTP_METHOD_GET, fits + "x").result, HANDLER_GO_ON);
}

TEST_F(Dispatcher, KeepsTheInterfaceUnderItsVersion)
{
    struct {
        const char *path, *location, *served;
    } const cases[] = {
        {"/", "/vrel5", nullptr},
        {"/index.html", "/vrel5/index.html", nullptr},
        {"/help/", "/vrel5/help", nullptr},
        {"/vrel5", nullptr, "/"},
        {"/vrel5/", nullptr, "/"},
        {"/vrel5/js/app.js", nullptr, "/js/app.js"},
        {"/vrel5/help/", nullptr, "/help"},
        {"/vrel52/x", nullptr, "/x"},
        {"/vrel4/js/app.js", "/vrel5/js/app.js", nullptr},
        {"/vrel4", "/vrel5/", nullptr},
        {"/v", "/vrel5/", nullptr},
        {"/video.mp4", "/vrel5/", nullptr},
        {"/vrel", "/vrel5/", nullptr},
        {"/ap", "/vrel5/ap", nullptr},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.path);
        const Answer answer = request(HTTP_METHOD_GET, c.path);
        EXPECT_EQ(answer.body, "");
        if (c.location) {
            EXPECT_EQ(answer.result, HANDLER_FINISHED);
            EXPECT_TRUE(answer.finished);
            EXPECT_EQ(answer.status, 307);
            EXPECT_EQ(answer.header("Location"), c.location);
            EXPECT_EQ(answer.path, c.path);
        } else {
            EXPECT_EQ(answer.result, HANDLER_GO_ON);
            EXPECT_EQ(answer.status, 0);
            EXPECT_EQ(answer.path, c.served);
        }
    }
}

TEST(StartsWith, ComparesAPrefix)
{
    EXPECT_EQ(starts_with("", "text"), 1);
    EXPECT_EQ(starts_with("text", "text"), 1);
    EXPECT_EQ(starts_with("texts", "text"), 0);
    EXPECT_EQ(starts_with("Text", "text"), 0);
}

} // namespace
