/* Answers of the daemon, good and bad, as an HTTP client sees them. */
#include <unistd.h>

#include <random>

#include "tests/e2e/fixtures.h"

namespace {

/* 518 bytes: date 3C 22 5C becomes &lt;, \" and \\; 42 and -5. */
const std::string uptime_record =
    text_field("day <\"\\", 255) + text_field("1 h", 255) + u32(42) + u32(0xFFFFFFFB);

const std::string uptime_text =
    "[ {\"dateTime\" : \"day &lt;\\\"\\\\\", \"uptime\" : \"1 h\", "
    "\"temperatureC\" : 42, \"fansRPM\" : -5} ]";

/* Routes that answer with a record, with a status of the server and with one of the module alone,
 * and the record of a good reply. The statuses of all others: tests/second_opinion. */
struct Route {
    const char *method, *path, *form;
    uint32_t command;
    std::string record;
    int status;       /* of the answer to that record */
    std::string text; /* of that answer */
    bool closes;      /* on a 1.4.51, when it fails */
};

const Route routes[] = {
    {"GET", "/api/uptime", "", uptime_get, uptime_record, 200, uptime_text, true},
    {"PUT", "/api/sap", "port=5004", sap_set, "", 204, "", true},
    {"PUT", "/api/channel/start", "", 19, "", 204, "", false},
};

constexpr int as_good = 0; /* or a failure's status */

class Faults : public Exchange {
protected:
    void SetUp() override
    {
        Exchange::SetUp();
        for (const Route &route : routes) {
            daemon.answer(route.command, {Step::send(reply(route.command, 1, route.record))});
        }
    }

    void expect_answer(const Route &route, int status) const
    {
        const Response response = client.request(route.method, route.path, route.form);
        if (status != as_good) return expect_failure(response, status, route.closes);
        EXPECT_EQ(response.status, route.status);
        EXPECT_EQ(response.body, route.text);
        EXPECT_EQ(response.own_headers(),
                  route.text.empty() ? std::vector<std::string>{} : json_headers);
    }

    /* Lets all happen that the module waits for, or all others; and expects what each leads to, and
     * that the answers after it are right. */
    void inject(const Route &route, bool that_wait)
    {
        for (const auto &[name, bytes, effect, waits] : odd_replies(route.command, route.record)) {
            if (waits != that_wait) continue;
            SCOPED_TRACE(std::string(route.path) + ": " + name);
            const bool is_good = effect == OddReply::GOOD || effect == OddReply::SURPLUS;
            daemon.answer_once(route.command, {Step::send(bytes)});
            expect_answer(route, is_good ? as_good : effect == OddReply::TOO_LARGE ? 507 : 500);
            daemon.wait_until_idle();
            daemon.take_requests();
            if (effect == OddReply::SURPLUS) {
                expect_failure(client.get("/api/leds"), 500);
                wait_until([&] { return !daemon.take_requests().empty(); });
                daemon.wait_until_idle();
            }
            expect_good_exchange();
            expect_answer(route, as_good);
            ++injected;
        }
    }

    void TearDown() override
    {
        if (injected > 0) printf("%zu faults of the daemon injected\n", injected);
    }

    size_t injected = 0;
};

TEST_F(Faults, AreOverWithTheRequest)
{
    for (const Route &route : routes) inject(route, false);
}

/* The rest never comes. Waits for the real time-out, as every test with TimesOut in its name. */
TEST_F(Faults, TooLongAGapTimesOut)
{
    for (const Route &route : {routes[0], routes[1]}) inject(route, true);
}

TEST_F(Faults, ADaemonThatEndsIsGoneForGood)
{
    for (const Route &route : routes) {
        const std::string good = reply(route.command, 1, route.record);
        for (const size_t sent : {size_t(0), size_t(1), size_t(13), good.size() - 1, good.size()}) {
            SCOPED_TRACE(route.path + (" after " + std::to_string(sent)) + " bytes");
            daemon.answer_once(route.command, {Step::send(good.substr(0, sent)), Step::hang_up()});
            expect_answer(route, sent == good.size() ? as_good : 500);
            for (const Route &later : routes) expect_answer(later, 500);
            EXPECT_EQ(client.get("/index.html").status, 307) << "pages need no daemon";
            EXPECT_EQ(daemon.take_requests().size(), 1u);
            restart();
            ++injected;
        }
    }
}

/* The late reply takes the next command's place; by the one after that, all is well. */
TEST_F(Faults, ALateReplyTimesOut)
{
    daemon.answer_once(uptime_get,
                       {Step::pause(31000), Step::send(reply(uptime_get, 1, uptime_record))});
    expect_failure(client.get("/api/uptime"), 408);
    expect_failure(client.get("/api/changes"), 500);
    usleep(100000); /* its own reply is still to come */
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(client.get("/api/uptime").body, uptime_text);
        expect_good_exchange();
    }
}

std::string list_of_streams(uint32_t count)
{
    std::string records;
    for (uint32_t id = 1; id <= count; ++id) records += u32(id) + text_field("", 1690);
    return reply(1, 1, records);
}

/* In pieces of random lengths, some with a pause behind them. */
Answer in_pieces(const std::string &bytes, std::minstd_rand &random, size_t one_pause_in,
                 size_t longest_pause_ms)
{
    Answer answer;
    for (size_t at = 0, length; at < bytes.size(); at += length) {
        length = 1 + random() % 4000;
        const size_t pause_ms = random() % one_pause_in ? 0 : 1 + random() % longest_pause_ms;
        answer.push_back({bytes.substr(at, length), static_cast<int>(pause_ms)});
    }
    return answer;
}

TEST_F(Faults, LongRunOfListsInPieces)
{
    constexpr int lists = 5000;
    std::minstd_rand random(5);
    const std::string bytes = list_of_streams(100);
    daemon.answer(1, {Step::send(bytes)});
    const std::string expected = client.get("/api/stream").body;
    size_t pieces = 0;
    for (int i = 0; i < lists; ++i) {
        const Answer answer = in_pieces(bytes, random, 40, 2);
        pieces += answer.size();
        daemon.answer(1, answer);
        ASSERT_TRUE(client.get("/api/stream").body == expected) << i;
    }
    printf("%d lists of 100 streams received in %zu pieces\n", lists, pieces);
}

/* 3.4 MB, many times what the socket's buffers hold. */
TEST_F(Faults, ReplyOfAnyLength)
{
    const std::string bytes = list_of_streams(2000);
    daemon.answer(1, {Step::send(list_of_streams(1))});
    const std::string one = client.get("/api/stream").body; /* "[\n{"id" : "1", ... }\n]" */
    std::string expected = "[";
    for (int id = 1; id <= 2000; ++id) {
        expected += id > 1 ? ",\n" : "\n";
        expected += "{\"id\" : \"" + std::to_string(id) + one.substr(12, one.size() - 14);
    }
    std::minstd_rand random(5);
    for (const Answer &way : {Answer{Step::send(bytes)}, in_pieces(bytes, random, 400, 200),
                              in_pieces(bytes, random, 4, 1)}) {
        daemon.answer(1, way);
        EXPECT_TRUE(client.get("/api/stream").body == expected + "\n]") << way.size() << " steps";
        expect_good_exchange();
    }
}

} // namespace
