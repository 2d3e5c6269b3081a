/* Answers of the daemon, good and bad, as an HTTP client sees them. */
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <random>

#include "tests/e2e/exchange.h"

namespace {

using Clock = std::chrono::steady_clock;

/* 518 bytes: date 3C 22 5C becomes &lt;, \" and \\; 42 and -5. */
const std::string uptime_record =
    text_field("day <\"\\", 255) + text_field("1 h", 255) + u32(42) + u32(0xFFFFFFFB);

const std::string uptime_text =
    "[ {\"dateTime\" : \"day &lt;\\\"\\\\\", \"uptime\" : \"1 h\", "
    "\"temperatureC\" : 42, \"fansRPM\" : -5} ]";

/* Empty, but for a last byte without which the checksum is wrong. */
std::string filled(size_t size)
{
    return text_field("", size - 1) + "\1";
}

/* One route of every way to answer, and the record of a good reply. */
struct Route {
    const char *method, *path, *form;
    uint32_t command;
    std::string record;
    int status;       /* of the answer to that record */
    std::string text; /* how the answer begins */
    int failure;      /* the status when the command fails */
};

const Route routes[] = {
    {"GET", "/api/sap/stream", "", 26, u32(7) + filled(76) + u32(8) + filled(76), 200,
     "[\n{\"id\" : \"7\", ", 500},
    {"GET", "/api/uptime", "", 52, uptime_record, 200, uptime_text, 500},
    {"GET", "/api/stream/7", "", 1, u32(7) + filled(1690), 200, "[ {\"id\" : \"7\", ", 404},
    {"PUT", "/api/sap", "port=5004", 25, "", 204, "", 500},
    {"PUT", "/api/stream/7", "name=x", 3, "", 204, "", 404},
    {"PUT", "/api/network", "id[0]=1&id[1]=2", 23, "", 204, "", 500},
    {"POST", "/api/configuration", "name=x", 40, u32(7) + filled(766), 201, "[ {\"id\" : \"7\", ",
     500},
    {"PUT", "/api/channel/start", "", 19, "", 204, "", 500},
    {"PUT", "/api/stream/select/7", "", 5, "", 204, "", 500},
    {"DELETE", "/api/stream/7", "", 4, "", 204, "", 404},
    {"POST", "/api/security/certificate", "upload", 30,
     text_field("OK", 11) + text_field("It is in.", 10) + filled(245), 200,
     "[ {\"status\" : \"OK\", \"message\" : \"It is in.\"} ]", 500},
};

/* The answers after a fault: right ones, one lost and then right ones, or none. */
enum After { RIGHT, ONE_LOST, DEAD };

constexpr int as_good = 0, as_failure = 1; /* or a status */

struct Fault {
    std::string name;
    Answer answer;
    int status = as_failure;
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
        /* Of an upload the daemon's record is shown, whatever its result. */
        const bool is_shown = route.form == std::string("upload") && name.starts_with("another's");
        if (waits != that_wait || is_shown) continue;
        const bool is_good = effect == OddReply::GOOD || effect == OddReply::SURPLUS;
        const int status = effect == OddReply::TOO_LARGE ? 507 : is_good ? as_good : as_failure;
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
    /* After each of these the server is restarted: two routes are enough. */
    if (command != routes[1].command && command != routes[3].command) return faults;
    for (const size_t sent : {size_t(0), size_t(1), size_t(12), size_t(13), part}) {
        faults.push_back({"closed after " + std::to_string(sent) + " bytes",
                          {send(good.substr(0, sent)), Step::hang_up()}, as_failure, DEAD});
    }
    faults.push_back({"closed after", {send(good), Step::hang_up()}, as_good, DEAD});
    return faults;
}

/* clang-format on */

class Faults : public Exchange {
protected:
    Response ask(const Route &route) const
    {
        if (std::string(route.form) != "upload") {
            return client.request(route.method, route.path, route.form);
        }
        return client.upload(route.path, {{"certificateName", "x.pem", "pem"}});
    }

    void expect_answer(const Route &route, int status) const
    {
        const Clock::time_point begun = Clock::now();
        const Response response = ask(route);
        EXPECT_LT(Clock::now() - begun, std::chrono::seconds(2)) << "at once";
        const bool answers_always = route.command == 19 || route.command == 5;
        if (status == as_good) {
            EXPECT_EQ(response.status, route.status);
            EXPECT_EQ(response.body.substr(0, route.text.size()), route.text);
            EXPECT_EQ(response.own_headers(),
                      route.text.empty() ? std::vector<std::string>{} : json_headers);
        } else if (answers_always) {
            expect_empty(response, status == as_failure ? route.failure : status);
        } else {
            expect_failure(response, status == as_failure ? route.failure : status);
        }
    }

    /* Lets the fault happen, and expects what it leads to now and afterwards. */
    void inject(const Route &route, const Fault &fault)
    {
        SCOPED_TRACE(std::string(route.method) + " " + route.path + ": " + fault.name);
        daemon.answer_once(route.command, fault.answer);
        expect_answer(route, fault.status);
        if (fault.after == DEAD) {
            for (const Route &later : routes) expect_answer(later, as_failure);
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
    unlink("/mnt/data/x.pem");
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

/* In pieces of random lengths, up to a length that is chosen for each; some after a pause. */
Answer in_pieces(const std::string &bytes, std::minstd_rand &random,
                 const std::vector<size_t> &longest, size_t one_pause_in, size_t longest_pause_ms)
{
    const auto below = [&](size_t limit) { return static_cast<size_t>(random()) % limit; };
    Answer answer;
    for (size_t at = 0, length; at < bytes.size(); at += length) {
        length = 1 + below(longest[below(longest.size())]);
        answer.push_back(Step::send(bytes.substr(at, length)));
        if (below(one_pause_in) > 0) continue;
        answer.push_back(Step::pause(1 + static_cast<int>(below(longest_pause_ms))));
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
    EXPECT_NE(expected.find("\n{\"id\" : \"100\", "), std::string::npos);
    size_t pieces = 0;
    for (int i = 0; i < lists; ++i) {
        const Answer answer = in_pieces(bytes, random, {60000, 300}, 10, 2);
        pieces += answer.size();
        daemon.answer(1, answer);
        ASSERT_TRUE(client.get("/api/stream").body == expected) << i;
    }
    printf("%d lists of 100 streams received in %zu pieces\n", lists, pieces);
}

/* 3.4 MB, many times what the socket's buffers hold. */
TEST_F(Faults, ReplyOfAnyLength)
{
    std::minstd_rand random(5);
    const std::string bytes = list_of_streams(2000);
    std::string expected = "[\n";
    daemon.answer(1, {Step::send(list_of_streams(1))});
    const std::string one = client.get("/api/stream").body; /* "[\n{"id" : "1", ... }\n]" */
    for (int id = 1; id <= 2000; ++id) {
        expected += "{\"id\" : \"" + std::to_string(id) + one.substr(12, one.size() - 14);
        expected += id < 2000 ? ",\n" : "\n]";
    }
    const Answer ways[] = {{Step::send(bytes)},
                           in_pieces(bytes, random, {4000}, 400, 200),
                           in_pieces(bytes, random, {4000}, 4, 1)};
    for (const Answer &way : ways) {
        daemon.answer(1, way);
        EXPECT_TRUE(client.get("/api/stream").body == expected) << way.size() << " steps";
        expect_good_exchange();
    }
}

/* The rest never comes, or when the next command is asked for. */
TEST_F(Faults, TooLongAGapTimesOut)
{
    for (const Route &route : {routes[1], routes[3]}) {
        daemon.answer(route.command, {Step::send(reply(route.command, 1, route.record))});
        for (const Fault &fault : faults_in_bytes(route, true)) inject(route, fault);
    }
    const std::string good = reply(uptime_get, 1, uptime_record);
    for (const size_t cut : {1u, 4u, 12u, 13u, 14u, 300u}) {
        SCOPED_TRACE(cut);
        daemon.answer_once(uptime_get, {Step::send(good.substr(0, cut)), Step::pause(300),
                                        Step::send(good.substr(cut))});
        expect_failure(client.get("/api/uptime"), 500);
        expect_good_exchange();
    }
}

void expect_no_start()
{
    try {
        const WebServer server;
        ADD_FAILURE() << "the server came up";
    } catch (const std::runtime_error &error) {
        EXPECT_NE(std::string(error.what()).find("kelto_sysmgmt"), std::string::npos);
    }
}

TEST(Start, IsRefusedWithoutADaemon)
{
    expect_no_start();
    sockaddr_un address = {AF_UNIX, {}};
    std::string(daemon_socket_path).copy(address.sun_path, sizeof(address.sun_path) - 1);
    const auto *at = reinterpret_cast<const sockaddr *>(&address);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int waiting = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, at, sizeof(address)), 0);
    expect_no_start();
    ASSERT_EQ(listen(listener, 0), 0);
    ASSERT_EQ(connect(waiting, at, sizeof(address)), 0);
    expect_no_start(); /* there is room for one that waits */
    close(waiting);
    close(listener);
    unlink(daemon_socket_path);
}

} // namespace
