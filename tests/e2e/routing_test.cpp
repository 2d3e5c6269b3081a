/* What becomes of paths and methods on a real server. */
#include "tests/e2e/exchange.h"

namespace {

using Routing = Exchange;

/* The software version is rel5. On all servers a 405 reaches the client with its "Allow" and
 * without a page. */
TEST_F(Routing, OfEveryKindOfPath)
{
    const std::string longest = "/api/" + std::string(507, 'x');
    const struct {
        std::string method, path;
        int status;
        const char *result; /* the redirect's "Location", what is allowed, or the body */
    } cases[] = {
        {"GET", "/", 307, "/vrel5"},
        {"GET", "/index.html?a=b", 307, "/vrel5/index.html"},
        {"GET", "/a%20b%3F/", 307, "/vrel5/a b?"},
        {"GET", "/vrel5", 200, "of /index.html"},
        {"GET", "/vrel5/js/app.js", 200, "of /js/app.js"},
        {"GET", "/vrel5/help/", 200, "of /help"},
        {"GET", "/vrel4/js/app.js", 307, "/vrel5/js/app.js"},
        {"GET", "/views/main.html", 200, "of /views/main.html"},
        {"GET", "/apidoc", 200, "of /apidoc"},
        {"HEAD", "/api/uptime", 405, "GET"},
        {"OPTIONS", "/api/login/", 405, "POST,GET"},
        {"POST", "/api/stream/7", 405, "GET,PUT,DELETE"},
        {"GET", "/api/stream/select", 200, ""},
        {"PUT", "/api/decoder", 200, ""},
        {"GET", "/api", 404, ""},
        {"GET", "/api/", 404, ""},
        {"GET", "/api/Uptime", 404, ""},
        {"GET", "/api/uptime%20", 404, ""},
        {"GET", "/api/stream/12a", 404, ""},
        {"GET", "/apix", 404, ""},
        {"GET", longest, 404, ""},
    };
    for (const char *file : {"/index.html", "/js/app.js", "/help", "/views/main.html", "/apidoc"})
        write_file(server->root() + "/www" + file, std::string("of ") + file);
    for (const auto &[method, path, status, result] : cases) {
        SCOPED_TRACE(path);
        const Response response = client.request(method, path);
        EXPECT_EQ(response.status, status);
        if (status == 307) {
            EXPECT_EQ(response.header("location"), result);
        } else if (status == 404) {
            EXPECT_EQ(response.header("content-type"), "text/html") << "the server's own page";
        } else if (status == 405) {
            EXPECT_EQ(response.own_headers(),
                      std::vector<std::string>{std::string("allow: ") + result});
            EXPECT_EQ(response.body, "");
        } else {
            EXPECT_EQ(response.body, result);
        }
    }
    EXPECT_TRUE(daemon.take_requests().empty()) << "the version is asked for once";
}

/* What the server's login has set is part of the module's answer. */
TEST_F(Routing, AnswersKeepTheHeadersOfOtherModules)
{
    const PrivateDirectory directory;
    const std::string users = directory.path + "/users";
    write_file(users, "admin:right\n");
    restart(
        "server.modules := ( \"mod_auth\", \"mod_authn_file\", \"mod_kelto_sysmgmt\" )\n"
        "auth.backend = \"plain\"\nauth.backend.plain.userfile = \"" +
        users +
        "\"\nauth.require = ( \"/private\" => ( \"method\" => \"basic\", \"realm\" => \"here\", "
        "\"require\" => \"valid-user\" ) )\nserver.error-handler = \"/api/changes\"\n");
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
    EXPECT_EQ(client.get("/api/talkback").status, 200);
    const size_t before = server->log().size();
    expect_good_exchange();
    const std::string lines = server->log().substr(before);
    for (const char *line :
         {"kelto_sysmgmt_command:  59", "Send command OK", "Will return SUCCESS"})
        EXPECT_NE(lines.find(line), std::string::npos) << lines;
    EXPECT_NE(lines.find("(kelto_sysmgmt_command."), std::string::npos) << lines;
}

} // namespace
