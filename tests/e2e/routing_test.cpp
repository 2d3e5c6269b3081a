/* What becomes of paths and methods on a real server. */
#include "tests/e2e/fixtures.h"

namespace {

using Routing = Exchange;

TEST_F(Routing, OfEveryKindOfPath)
{
    for (const char *file : {"/index.html", "/js/app.js", "/views/main.html"})
        write_file(server->root() + "/www" + file, std::string("of ") + file);
    for (const Row &row : table("routing.txt", 5)) {
        SCOPED_TRACE(testing::PrintToString(row));
        const Response response = client.request(row[0], row[1]);
        EXPECT_EQ(response.status, std::stoi(row[2]));
        EXPECT_EQ(row[3].empty() ? response.body : response.header(row[3]), row[4]);
        if (row[3] != "allow") continue;
        EXPECT_EQ(response.own_headers(), std::vector<std::string>{"allow: " + row[4]});
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
