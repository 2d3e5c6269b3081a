/* Which paths the module takes, and which it hands back. */
#include "module/version_path.h"
#include "tests/support/module_test.h"
#include "tests/support/table.h"

namespace {

using Paths = ModuleTest;

TEST_F(Paths, AreRedirectedToTheVersionOrServed)
{
    std::vector<Row> rows = table("paths.txt", 3);
    const std::string longest = "/" + std::string(510, 'x');
    rows.insert(rows.end(),
                {{longest, "redirected", "/vrel5" + longest}, {longest + "x", "left", ""}});
    for (const Row &row : rows) {
        SCOPED_TRACE(row[0]);
        const bool redirected = row[1] == "redirected";
        const Answer answer = get(row[0]);
        EXPECT_EQ(answer.header("Location"), redirected ? row[2] : "");
        EXPECT_EQ(answer.path, row[1] == "served" ? row[2] : row[0]);
        EXPECT_EQ(answer.headers.size(), redirected ? 1u : 0u);
        EXPECT_EQ(answer.result, redirected ? HANDLER_FINISHED : HANDLER_GO_ON);
        EXPECT_EQ(answer.finished, redirected);
        EXPECT_EQ(answer.status, redirected ? 307 : 0);
        EXPECT_EQ(answer.body, "");
        EXPECT_EQ(sent().type, 0u) << "no command";
    }
    EXPECT_EQ(get("").result, HANDLER_GO_ON);
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
