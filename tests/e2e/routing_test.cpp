/* What becomes of paths and methods on a real server. */
#include <tuple>

#include "tests/e2e/exchange.h"

namespace {

using Routing = Exchange;

/* On all servers a 405 reaches the client with its "Allow" and without a page. */
TEST_F(Routing, MethodsThatARouteDoesNotAccept)
{
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"HEAD", "/api/uptime", "GET"},
        {"OPTIONS", "/api/login/", "POST,GET"},
        {"POST", "/api/stream/7", "GET,PUT,DELETE"},
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
    expect_empty(client.get("/api/stream/select"), 200);
    expect_empty(client.put("/api/decoder", ""), 200);
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
    write_file(server->root() + "/www/index.html", "the index");
    write_file(server->root() + "/www/js/app.js", "the script");
    write_file(server->root() + "/www/help", "the help");
    write_file(server->root() + "/www/views/main.html", "the view");
    write_file(server->root() + "/www/apidoc", "the document");
    for (const PathCase &c : paths) {
        SCOPED_TRACE(c.path);
        const Response response = client.get(c.path);
        EXPECT_EQ(response.status, c.status);
        EXPECT_EQ(c.status == 307 ? response.header("location") : response.body, c.result);
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
