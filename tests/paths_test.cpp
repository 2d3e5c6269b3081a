/* Which paths the module takes, and which it hands back. */
#include "module/version_path.h"
#include "tests/support/module_test.h"

namespace {

using namespace std::string_literals;
using Paths = ModuleTest;

const std::string longest = "/" + std::string(510, 'x');

TEST_F(Paths, AreRedirectedToTheVersion)
{
    const std::pair<std::string, std::string> cases[] = {
        {"/", "/vrel5"},           {"/index.html", "/vrel5/index.html"},
        {"/help/", "/vrel5/help"}, {"/vrel4/js/app.js", "/vrel5/js/app.js"},
        {"/vrel4", "/vrel5/"},     {"/v", "/vrel5/"},
        {"/vrel", "/vrel5/"},      {"/video.mp4", "/vrel5/"},
        {"/ap", "/vrel5/ap"},      {longest, "/vrel5" + longest},
    };
    for (const auto &[path, location] : cases) {
        const Answer answer = get(path);
        EXPECT_EQ(answer.header("Location"), location) << path;
        EXPECT_EQ(answer.headers.size(), 1u);
        EXPECT_EQ(answer.result, HANDLER_FINISHED);
        EXPECT_TRUE(answer.finished);
        EXPECT_EQ(answer.status, 307);
        EXPECT_EQ(answer.path, path);
        EXPECT_EQ(answer.body, "");
    }
}

TEST_F(Paths, AreTheServersBelowTheVersionAndWhereNoRouteIs)
{
    std::vector<std::pair<std::string, std::string>> cases = {
        {"/vrel5", "/"},           {"/vrel5/", "/"},    {"/vrel5/js/app.js", "/js/app.js"},
        {"/vrel5/help/", "/help"}, {"/vrel52/x", "/x"},
    };
    for (const std::string &path :
         {longest + "x"s, "/api"s, "/api/"s, "/apix"s, "/api/unknown"s, "/api/Uptime"s,
          "/api/stream//"s, "/api/stream/12a"s, "/api/stream/-1"s, "/api/stream/12/3"s,
          "/api/configuration/12a"s, "/api/configuration/activate/x"s, "/views/main.html"s,
          "/viewsx"s, ""s})
        cases.emplace_back(path, path);
    for (const auto &[path, served] : cases) {
        const Answer answer = get(path);
        EXPECT_EQ(answer.path, served);
        EXPECT_EQ(answer.result, HANDLER_GO_ON) << path;
        EXPECT_FALSE(answer.finished);
        EXPECT_EQ(answer.status, 0);
        EXPECT_EQ(answer.headers.size(), 0u);
    }
    EXPECT_EQ(sent().type, 0u) << "no command";
}

TEST_F(Paths, LoseOneTrailingSlash)
{
    EXPECT_EQ(request(HTTP_METHOD_POST, "/api/login/").body, "[ {} ]");
    EXPECT_EQ(request(HTTP_METHOD_POST, "/api/login//").result, HANDLER_GO_ON);
}

TEST_F(Paths, HoldTheIdentifier)
{
    const std::pair<const char *, uint32_t> cases[] = {{"0", 0},
                                                       {"12/", 12},
                                                       {"0007", 7},
                                                       {"2147483647", 2147483647},
                                                       {"2147483648", 2147483647},
                                                       {"4294967297", 2147483647},
                                                       {"99999999999999999999999999", 2147483647}};
    for (const auto &[number, value] : cases) {
        will_reply(4, 1, "");
        EXPECT_EQ(request(HTTP_METHOD_DELETE, std::string("/api/stream/") + number).status, 204)
            << number;
        EXPECT_EQ(sent().payload, u32(value) + u32(value)) << number;
    }
}

TEST_F(Paths, OfOtherModulesAreLeftAlone)
{
    begin(HTTP_METHOD_GET, "/index.html");
    con->mode = 7;
    EXPECT_EQ(answer().result, HANDLER_GO_ON);
    EXPECT_EQ(server_log.size(), 0u);
}

TEST_F(Paths, AreLeftToAServerThatTheModuleDoesNotFit)
{
    for (int i = 0; i < 3; ++i) {
        begin(HTTP_METHOD_GET, "/index.html");
        con->mode = 0x12345678;
        EXPECT_EQ(answer().result, HANDLER_GO_ON);
    }
    ASSERT_EQ(server_log.size(), 1u) << "told once";
    EXPECT_NE(server_log[0].find("does not fit this server"), std::string::npos);
}

TEST_F(Paths, AreRedirectedWithinTheirRoom)
{
    const std::string rest = "/" + std::string(2000, 'x');
    begin(HTTP_METHOD_GET, "/");
    do_redirect(nullptr, con, rest.c_str());
    const std::string location = hosted_response_header(con, "Location");
    EXPECT_EQ(location, ("/vrel5" + rest).substr(0, location.size()));
    EXPECT_GT(location.size(), 512u);
}

} // namespace
