/* Which paths the module takes, and which it hands back. */
#include "module/version_path.h"
#include "tests/support/module_test.h"

namespace {

using namespace std::string_literals;
using Paths = ModuleTest;

TEST_F(Paths, AreRedirectedToTheVersionOrServed)
{
    const auto expect = [this](const std::string &path, const std::string &location,
                               const std::string &served) {
        SCOPED_TRACE(path);
        const Answer answer = get(path);
        const bool redirected = !location.empty();
        EXPECT_EQ(answer.header("Location"), location);
        EXPECT_EQ(answer.headers.size(), redirected ? 1u : 0u);
        EXPECT_EQ(answer.result, redirected ? HANDLER_FINISHED : HANDLER_GO_ON);
        EXPECT_EQ(answer.finished, redirected);
        EXPECT_EQ(answer.status, redirected ? 307 : 0);
        EXPECT_EQ(answer.path, served);
        EXPECT_EQ(answer.body, "");
        EXPECT_EQ(sent().type, 0u) << "no command";
    };
    const std::string longest = "/" + std::string(510, 'x');
    const std::pair<std::string, std::string> redirected[] = {
        {"/", "/vrel5"},           {"/index.html", "/vrel5/index.html"},
        {"/help/", "/vrel5/help"}, {"/vrel4/js/app.js", "/vrel5/js/app.js"},
        {"/v", "/vrel5/"},         {"/ap", "/vrel5/ap"},
        {"/API", "/vrel5/API"},    {longest, "/vrel5" + longest},
    };
    for (const auto &[path, location] : redirected) expect(path, location, path);
    const std::pair<std::string, std::string> below_the_version[] = {
        {"/vrel5", "/"},           {"/vrel5/", "/"},    {"/vrel5/js/app.js", "/js/app.js"},
        {"/vrel5/help/", "/help"}, {"/vrel52/x", "/x"},
    };
    for (const auto &[path, served] : below_the_version) expect(path, "", served);
    for (const std::string &without_a_route :
         {longest + "x"s, "/api"s, "/api/"s, "/apix"s, "/api/unknown"s, "/api/Uptime"s,
          "/api/stream//"s, "/api/stream/12a"s, "/api/stream/-1"s, "/api/stream/12/3"s,
          "/api/configuration/12a"s, "/api/configuration/activate/x"s, "/views/main.html"s,
          "/viewsx"s, ""s})
        expect(without_a_route, "", without_a_route);
}

TEST_F(Paths, HoldTheIdentifier)
{
    for (const auto &[number, value] : {std::pair("0", 0),
                                        {"12/", 12},
                                        {"0010", 10},
                                        {"2147483648", 2147483647},
                                        {"99999999999999999999999999", 2147483647}}) {
        will_reply(4, 1, "");
        EXPECT_EQ(request(HTTP_METHOD_DELETE, std::string("/api/stream/") + number).status, 204);
        const std::string bytes = u32(static_cast<uint32_t>(value));
        EXPECT_EQ(sent().payload, bytes + bytes) << number;
    }
}

/* The last of these numbers no plugin has: the module was built for another server. */
TEST_F(Paths, AreLeftAloneWhereAnotherModuleHasThem)
{
    for (const size_t mode : {7u, 0x12345678u, 0x12345678u}) {
        begin(HTTP_METHOD_GET, "/index.html");
        con->mode = mode;
        EXPECT_EQ(answer().result, HANDLER_GO_ON);
        EXPECT_EQ(server_log.size(), mode == 7 ? 0u : 1u) << "told once";
    }
    EXPECT_NE(server_log.at(0).find("does not fit this server"), std::string::npos);
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
