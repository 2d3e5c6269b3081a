/* What a user does with the device, and what he gets to see. */
#include "tests/e2e/fixtures.h"

namespace {

/* The values of all members with the key, each with a blank after it. */
std::string values_of(const std::string &key, const std::string &answer)
{
    std::string values;
    const std::string mark = quoted("'" + key + "' : ");
    for (size_t at = 0; (at = answer.find(mark, at)) != std::string::npos;) {
        at += mark.size();
        values += answer.substr(at, answer.find_first_of(",}", at) - at) + " ";
    }
    return values;
}

struct Resources : public Device {
    int changes(const std::string &counter) const
    {
        return counter.empty() ? 0 : std::stoi(values_of(counter, get("/api/changes")));
    }
};

TEST_F(Resources, ChangesAreReadBackAndCounted)
{
    start();
    for (const std::string path : {"/api/zixiStats", "/api/srtStats", "/api/channel/info"}) {
        const std::string before = get(path);
        EXPECT_TRUE(wait_until([&] { return get(path) != before; })) << path;
    }
    for (const Row &row : table("changes.txt", 5)) {
        const std::string &request = row[0], &counter = row[2];
        SCOPED_TRACE(request);
        const std::string all = get("/api/changes");
        const int before = changes(counter), seen = ask(request).status;
        EXPECT_TRUE(seen == std::stoi(row[1]) || (seen == 0 && server_under_test().stock)) << seen;
        expect_text(get("/api/" + row[3]), row[4]);
        EXPECT_EQ(changes(counter) - before, counter.empty() ? 0 : 1);
        EXPECT_EQ(get("/api/changes") == all, counter.empty());
    }
}

TEST_F(Resources, RefusedValuesAreNamed)
{
    start();
    const std::string before = get("/api/changes");
    std::vector<Row> rows = table("refused.txt", 2);
    rows.push_back({"PUT /api/security bannerText=" + std::string(3969, 'a'), "'bannerText'"});
    for (const Row &row : rows) {
        const Response refused = ask(row[0]);
        EXPECT_EQ(refused.status, 400) << row[0];
        EXPECT_EQ(refused.own_headers(), json_headers) << row[0];
        EXPECT_EQ(values_of("property", refused.body), quoted(row[1]) + " ");
    }
    EXPECT_EQ(get("/api/changes"), before);
}

} // namespace
