/* Which requests the module takes, and which it hands back. */
#include <gtest/gtest.h>

#include <string>

#include "module/version_path.h"
#include "server/hosting/hosting.h"
#include "tests/support/module_host.h"

namespace {

class Dispatcher : public ModuleTest {};

TEST_F(Dispatcher, KnowsEveryRoutesMethods)
{
    struct {
        const char *path;
        const char *allow;
    } const cases[] = {
        {"/api/stream", "GET,POST"},
        {"/api/stream/7", "GET,PUT,DELETE"},
        {"/api/stream/select", "GET"},
        {"/api/stream/select/7", "PUT"},
        {"/api/decoder", "GET,PUT"},
        {"/api/decoder/video", "GET,PUT"},
        {"/api/decoder/audio", "GET,PUT"},
        {"/api/decoder/configuration", "GET,PUT"},
        {"/api/decoder/vbianc", "GET,PUT"},
        {"/api/decoder/talkback", "GET,PUT"},
        {"/api/channel", "GET"},
        {"/api/channel/start", "PUT"},
        {"/api/channel/stop", "PUT"},
        {"/api/channel/info", "GET"},
        {"/api/network", "GET,PUT"},
        {"/api/sap", "GET,PUT"},
        {"/api/sap/stream", "GET,POST"},
        {"/api/security", "GET,PUT"},
        {"/api/security/certificate", "POST"},
        {"/api/security/certificate/default", "PUT"},
        {"/api/notice", "GET"},
        {"/api/sysdatetime", "GET,PUT"},
        {"/api/ports", "GET"},
        {"/api/leds", "GET"},
        {"/api/services", "GET,PUT"},
        {"/api/configuration", "GET,POST"},
        {"/api/configuration/7", "GET,PUT,DELETE"},
        {"/api/configuration/activate", "GET"},
        {"/api/configuration/activate/7", "PUT"},
        {"/api/general", "GET"},
        {"/api/general/restart", "PUT"},
        {"/api/general/factoryReset", "PUT"},
        {"/api/general/firmwareUpgrade", "POST"},
        {"/api/general/upgradeStatus", "GET"},
        {"/api/general/freespace", "GET"},
        {"/api/general/uidLed", "POST"},
        {"/api/uptime", "GET"},
        {"/api/login", "POST,GET"},
        {"/api/logout", "GET,POST"},
        {"/api/talkback", "GET"},
        {"/api/talkback/start", "PUT"},
        {"/api/talkback/stop", "PUT"},
        {"/api/changes", "GET"},
        {"/api/zixiStats", "GET"},
        {"/api/srtStats", "GET"},
    };
    struct {
        http_method_t method;
        const char *name;
    } const methods[] = {{HTTP_METHOD_GET, "GET"},        {HTTP_METHOD_HEAD, "HEAD"},
                         {HTTP_METHOD_POST, "POST"},      {HTTP_METHOD_PUT, "PUT"},
                         {HTTP_METHOD_DELETE, "DELETE"},  {HTTP_METHOD_CONNECT, "CONNECT"},
                         {HTTP_METHOD_OPTIONS, "OPTIONS"}};
    close_daemon(); /* the accepted ones may fail, as long as they are accepted */
    for (const auto &route : cases) {
        for (const auto &method : methods) {
            SCOPED_TRACE(std::string(method.name) + " " + route.path);
            const Answer answer = request(method.method, route.path);
            const std::string list = std::string(",") + route.allow + ",";
            if (list.find(std::string(",") + method.name + ",") != std::string::npos) {
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
          "/api/stream/12a", "/api/stream/-1", "/api/stream/12/3", "/api/stream/select/", "/views",
          "/views/main.html", "/viewsx", "/api/configuration/activate/x", "x/api/stream/1"}) {
        if (std::string(path) == "/api/stream/select/" || path[0] != '/') continue;
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
