/* Answers of the daemon, good and bad, as an HTTP client sees them. */
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <random>

#include "tests/e2e/exchange.h"
#include "tests/support/sockets.h"

namespace {

using Clock = std::chrono::steady_clock;

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
};

const Route routes[] = {
    {"GET", "/api/uptime", "", uptime_get, uptime_record, 200, uptime_text},
    {"PUT", "/api/sap", "port=5004", sap_set, "", 204, ""},
    {"PUT", "/api/channel/start", "", 19, "", 204, ""},
};

/* The answers after a fault: right ones, one lost and then right ones, or none. */
enum After { RIGHT, ONE_LOST, DEAD };

constexpr int as_good = 0, failure = 500; /* or another status */

struct Fault {
    std::string name;
    Answer answer;
    int status = failure;
    After after = RIGHT;
};

Answer byte_by_byte(const std::string &message)
{
    Answer answer;
    for (const char byte : message) answer.push_back(Step::send({byte}));
    return answer;
}

/* Messages that arrive at once: those that the module waits for, or the others. */
std::vector<Fault> faults_in_bytes(const Route &route, bool that_wait)
{
    std::vector<Fault> faults;
    for (const auto &[name, bytes, effect, waits] : odd_replies(route.command, route.record)) {
        if (waits != that_wait) continue;
        const bool is_good = effect == OddReply::GOOD || effect == OddReply::SURPLUS;
        const int status = effect == OddReply::TOO_LARGE ? 507 : is_good ? as_good : failure;
        const After after = effect == OddReply::SURPLUS ? ONE_LOST : RIGHT;
        faults.push_back({name, {Step::send(bytes)}, status, after});
    }
    return faults;
}

/* clang-format off */

std::vector<Fault> faults_of(const Route &route)
{
    const uint32_t command = route.command;
    const std::string &record = route.record;
    const auto send = &Step::send;
    const std::string good = reply(command, 1, record), other = reply(general_get, 1, "");
    const size_t part = 13 + (good.size() - 13) / 4;
    std::vector<Fault> faults = faults_in_bytes(route, false);
    faults.push_back({"one byte at a time", byte_by_byte(good), as_good});
    faults.push_back({"slowly", {send(good.substr(0, 1)), Step::pause(50), send(good.substr(1, part)),
                                 Step::pause(50), send(good.substr(1 + part))}, as_good});
    faults.push_back({"another's, good to come", {send(other), Step::pause(10), send(good)}});
    if (!record.empty()) {
        const std::string less = record.substr(0, record.size() - 1);
        const uint32_t less_length = static_cast<uint32_t>(less.size());
        faults.push_back({"short record", {send(reply(command, 1, less))}});
        faults.push_back({"told of less", {send(reply(command, 1, less_length, record))}});
    }
    for (const size_t sent : {size_t(0), size_t(1), size_t(12), size_t(13), part}) {
        faults.push_back({"closed after " + std::to_string(sent) + " bytes",
                          {send(good.substr(0, sent)), Step::hang_up()}, failure, DEAD});
    }
    faults.push_back({"closed after", {send(good), Step::hang_up()}, as_good, DEAD});
    return faults;
}

/* clang-format on */

class Faults : public Exchange {
protected:
    void expect_answer(const Route &route, int status) const
    {
        const Clock::time_point begun = Clock::now();
        const Response response = client.request(route.method, route.path, route.form);
        EXPECT_LT(Clock::now() - begun, std::chrono::seconds(20)) << "no time-out";
        if (status == as_good) {
            EXPECT_EQ(response.status, route.status);
            EXPECT_EQ(response.body, route.text);
            EXPECT_EQ(response.own_headers(),
                      route.text.empty() ? std::vector<std::string>{} : json_headers);
        } else if (route.command == routes[2].command) {
            expect_empty(response, status);
        } else {
            expect_failure(response, status);
        }
    }

    /* Lets the fault happen, and expects what it leads to now and afterwards. */
    void inject(const Route &route, const Fault &fault)
    {
        SCOPED_TRACE(std::string(route.method) + " " + route.path + ": " + fault.name);
        daemon.answer_once(route.command, fault.answer);
        expect_answer(route, fault.status);
        if (fault.after == DEAD) {
            for (const Route &later : routes) expect_answer(later, failure);
            EXPECT_EQ(client.get("/index.html").status, 307) << "pages need no daemon";
            EXPECT_EQ(daemon.take_requests().size(), 1u);
            restart();
            return;
        }
        daemon.wait_until_idle();
        if (fault.after == ONE_LOST) {
            daemon.take_requests();
            expect_failure(client.get("/api/leds"), 500);
            wait_until([&] { return !daemon.take_requests().empty(); });
            daemon.wait_until_idle();
        }
        expect_good_exchange();
        expect_answer(route, as_good);
        daemon.take_requests();
    }
};

TEST_F(Faults, AreOverWithTheRequest)
{
    size_t injected = 0;
    for (const Route &route : routes) {
        daemon.answer(route.command, {Step::send(reply(route.command, 1, route.record))});
        for (const Fault &fault : faults_of(route)) inject(route, fault);
        injected += faults_of(route).size();
    }
    printf("%zu faults of the daemon injected, over %zu routes\n", injected, std::size(routes));
}

/* Waits for the real time-out, as every test with TimesOut in its name. The late reply takes the
 * next command's place; by the one after that, all is well. */
TEST_F(Faults, ALateReplyTimesOut)
{
    daemon.answer(uptime_get, {Step::send(reply(uptime_get, 1, uptime_record))});
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
        const bool pauses = random() % one_pause_in == 0;
        const size_t pause_ms = pauses ? 1 + random() % longest_pause_ms : 0;
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
    std::string expected = "[\n";
    daemon.answer(1, {Step::send(list_of_streams(1))});
    const std::string one = client.get("/api/stream").body; /* "[\n{"id" : "1", ... }\n]" */
    for (int id = 1; id <= 2000; ++id) {
        expected += "{\"id\" : \"" + std::to_string(id) + one.substr(12, one.size() - 14);
        expected += id < 2000 ? ",\n" : "\n]";
    }
    std::minstd_rand random(5);
    const Answer ways[] = {
        {Step::send(bytes)}, in_pieces(bytes, random, 400, 200), in_pieces(bytes, random, 4, 1)};
    for (const Answer &way : ways) {
        daemon.answer(1, way);
        EXPECT_TRUE(client.get("/api/stream").body == expected) << way.size() << " steps";
        expect_good_exchange();
    }
}

/* The rest never comes. */
TEST_F(Faults, TooLongAGapTimesOut)
{
    for (const Route &route : {routes[0], routes[1]}) {
        daemon.answer(route.command, {Step::send(reply(route.command, 1, route.record))});
        for (const Fault &fault : faults_in_bytes(route, true)) inject(route, fault);
    }
}

TEST(Start, IsRefusedWithoutADaemon)
{
    const auto expect_refusal = [] {
        EXPECT_NE(refusal_to_start().find("kelto_sysmgmt"), std::string::npos);
    };
    expect_refusal();
    const int listener = unix_socket(SOCK_STREAM);
    const int waiting = unix_socket(SOCK_STREAM);
    ASSERT_TRUE(bind_to(listener, daemon_socket_path));
    expect_refusal();
    ASSERT_EQ(listen(listener, 0), 0);
    ASSERT_TRUE(connect_to(waiting, daemon_socket_path));
    expect_refusal(); /* there is room for one that waits */
    close(waiting);
    close(listener);
    unlink(daemon_socket_path);
}

} // namespace
