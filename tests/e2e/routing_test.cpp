/* What becomes of paths and methods on a real server. */
#include "tests/e2e/exchange.h"

namespace {

using Routing = Exchange;

/* The software version is rel5. On all servers a 405 reaches the client with its "Allow" and
 * without a page. All other paths: tests/paths_test.cpp. */
TEST_F(Routing, OfEveryKindOfPath)
{
    const struct {
        std::string method, path;
        int status;
        std::string header, value; /* without a header, the body */
    } cases[] = {
        {"GET", "/index.html?a=b", 307, "location", "/vrel5/index.html"},
        {"GET", "/a%20b%3F/", 307, "location", "/vrel5/a b?"},
        {"GET", "/vrel4/js/app.js", 307, "location", "/vrel5/js/app.js"},
        {"GET", "/vrel5", 200, "", "of /index.html"},
        {"GET", "/vrel5/js/app.js", 200, "", "of /js/app.js"},
        {"GET", "/views/main.html", 200, "", "of /views/main.html"},
        {"HEAD", "/api/uptime", 405, "allow", "GET"},
        {"OPTIONS", "/api/login/", 405, "allow", "POST,GET"},
        {"POST", "/api/stream/7", 405, "allow", "GET,PUT,DELETE"},
        {"GET", "/api/stream/select", 200, "", ""},
        {"PUT", "/api/decoder", 200, "", ""},
        {"GET", "/api/", 404, "content-type", "text/html"}, /* the server's own page */
        {"GET", "/api/uptime%20", 404, "content-type", "text/html"},
        {"GET", "/apix", 404, "content-type", "text/html"},
    };
    for (const char *file : {"/index.html", "/js/app.js", "/views/main.html"})
        write_file(server->root() + "/www" + file, std::string("of ") + file);
    for (const auto &[method, path, status, header, value] : cases) {
        SCOPED_TRACE(path);
        const Response response = client.request(method, path);
        EXPECT_EQ(response.status, status);
        EXPECT_EQ(header.empty() ? response.body : response.header(header), value);
        if (status != 405) continue;
        EXPECT_EQ(response.own_headers(), std::vector<std::string>{"allow: " + value});
        EXPECT_EQ(response.body, "");
    }
    EXPECT_TRUE(daemon.take_requests().empty()) << "the version is asked for once";
}

/* What the server's login has set is part of the module's answer. */
TEST_F(Routing, AnswersKeepTheHeadersOfOtherModules)
{
    const PrivateDirectory directory;
    write_file(directory.path + "/users", "admin:right\n");
    restart(
        "server.modules := ( \"mod_auth\", \"mod_authn_file\", \"mod_kelto_sysmgmt\" )\n"
        "auth.backend = \"plain\"\nauth.backend.plain.userfile = \"" +
        directory.path +
        "/users\"\nauth.require = ( \"/private\" => ( \"method\" => \"basic\", \"realm\" => "
        "\"here\", \"require\" => \"valid-user\" ) )\nserver.error-handler = \"/api/changes\"\n");
    daemon.answer(changes_get, {Step::send(reply(changes_get, 1, changes_record))});
    const Response refused = client.get("/private");
    EXPECT_EQ(refused.status, 401);
    EXPECT_EQ(refused.body, changes_text);
    std::vector<std::string> headers = json_headers;
    headers.push_back("www-authenticate: Basic realm=\"here\", charset=\"UTF-8\"");
    EXPECT_EQ(refused.own_headers(), headers);
}

TEST_F(Routing, TheServersLogHasTheModulesLines)
{
    const size_t before = server->log().size();
    expect_good_exchange();
    const std::string lines = server->log().substr(before);
    for (const char *line : {"kelto_sysmgmt_command:  59", "(kelto_sysmgmt_command.",
                             "Send command OK", "Will return SUCCESS"})
        EXPECT_NE(lines.find(line), std::string::npos) << lines;
}

} // namespace
