/* Answers of the daemon, good and bad, as an HTTP client sees them. */
#include "tests/e2e/exchange.h"

namespace {

/* 518 bytes: date 3C 22 5C becomes &lt;, \" and \\; 42 and -5. */
std::string uptime_record()
{
    return text_field("day <\"\\", 255) + text_field("1 h", 255) + u32(42) + u32(0xFFFFFFFB);
}

const std::string uptime_text =
    "[ {\"dateTime\" : \"day &lt;\\\"\\\\\", \"uptime\" : \"1 h\", "
    "\"temperatureC\" : 42, \"fansRPM\" : -5} ]";

std::string good_uptime()
{
    return reply(uptime_get, 1, uptime_record());
}

/* The checksum made wrong by one. */
std::string damaged(std::string bytes)
{
    bytes[12] = static_cast<char>(bytes[12] + 1);
    return bytes;
}

/* A length that the message has not; the checksum holds. */
std::string with_length(uint32_t length)
{
    std::string bytes = good_uptime();
    unsigned char sum = static_cast<unsigned char>(bytes[12]);
    for (size_t i = 4; i < 8; ++i) sum = static_cast<unsigned char>(sum + bytes[i]);
    bytes.replace(4, 4, u32(length));
    for (size_t i = 4; i < 8; ++i) sum = static_cast<unsigned char>(sum - bytes[i]);
    bytes[12] = static_cast<char>(sum);
    return bytes;
}

using Answers = Exchange;

TEST_F(Answers, UptimeAndChanges)
{
    daemon.answer(uptime_get, {Step::send(good_uptime())});
    const Response uptime = client.get("/api/uptime");
    EXPECT_EQ(uptime.status, 200);
    EXPECT_EQ(uptime.body, uptime_text);
    EXPECT_EQ(uptime.own_headers(), json_headers);
    expect_good_exchange();
    const std::vector<Request> requests = daemon.take_requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(to_hex(requests[1].bytes), "3B 00 00 00 0D 00 00 00 FF FF FF FF BC");
}

TEST_F(Answers, RepliesThatAreAsGood)
{
    const std::string good = good_uptime();
    const std::string preamble = u32(uptime_get) + u32(1) + u32(518);
    const std::pair<const char *, Answer> cases[] = {
        {"another tag", {Step::send(message(0, preamble + uptime_record(), 7))}},
        {"a longer record", {Step::send(reply(uptime_get, 1, uptime_record() + "more"))}},
        {"a length beyond what came",
         {Step::send(reply(uptime_get, 1, 0xFFFFFFFF, uptime_record()))}},
        {"in pieces",
         {Step::send(good.substr(0, 20)), Step::pause(20), Step::send(good.substr(20, 300)),
          Step::pause(20), Step::send(good.substr(320))}},
        {"larger than the message buffer",
         {Step::send(reply(uptime_get, 1, uptime_record() + std::string(20000, 'x')))}},
    };
    for (const auto &[name, answer] : cases) {
        SCOPED_TRACE(name);
        daemon.answer_once(uptime_get, answer);
        EXPECT_EQ(client.get("/api/uptime").body, uptime_text);
        expect_good_exchange();
    }
    /* 12 bytes of preamble, 518 of record, 20000 more */
    const std::string log = server.log();
    EXPECT_NE(log.find("SysMngReceiveMsg Returned RET_INSUFMEM, allocated 16384 need  20530"),
              std::string::npos);
    EXPECT_NE(log.find("realloc success: 20530 bytes allocated"), std::string::npos);
}

TEST_F(Answers, FaultsAreOverWithTheRequest)
{
    const std::string good = good_uptime();
    const std::string preamble = u32(uptime_get) + u32(1) + u32(518);
    const std::pair<const char *, Answer> faults[] = {
        {"refused", {Step::send(reply(uptime_get, 0, ""))}},
        {"another result", {Step::send(reply(uptime_get, 2, uptime_record()))}},
        {"echo of another command", {Step::send(reply(changes_get, 1, uptime_record()))}},
        {"another type", {Step::send(message(7, preamble + uptime_record()))}},
        {"bad checksum", {Step::send(damaged(good))}},
        {"bad checksum with more behind", {Step::send(damaged(good) + good)}},
        {"bad checksum with more to come",
         {Step::send(damaged(good)), Step::pause(30), Step::send(good)}},
        {"no payload", {Step::send(message(0, ""))}},
        {"short payload", {Step::send(message(0, preamble.substr(0, 11)))}},
        {"short record", {Step::send(reply(uptime_get, 1, uptime_record().substr(0, 517)))}},
        {"a record that did not come", {Step::send(reply(uptime_get, 1, 518, "short"))}},
        {"a record that is not told of", {Step::send(reply(uptime_get, 1, 517, uptime_record()))}},
        {"part of a header", {Step::send(good.substr(0, 5))}},
        {"part of a message", {Step::send(good.substr(0, 300))}},
        {"length 0", {Step::send(with_length(0))}},
        {"length 12", {Step::send(with_length(12))}},
        {"length less by one", {Step::send(with_length(542))}},
        {"length more by one", {Step::send(with_length(544))}},
    };
    for (const auto &[name, answer] : faults) {
        SCOPED_TRACE(name);
        daemon.answer_once(uptime_get, answer);
        expect_failure(client.get("/api/uptime"), 500);
        daemon.wait_until_idle();
        expect_good_exchange();
    }
}

TEST_F(Answers, ALengthBeyondReasonIsRefused)
{
    daemon.answer_once(uptime_get, {Step::send(with_length(0xFFFFFFFF))});
    expect_failure(client.get("/api/uptime"), 507);
    expect_good_exchange();
}

TEST_F(Answers, FailAtOnceWhenTheDaemonIsGone)
{
    daemon.answer_once(uptime_get, {Step::send(good_uptime().substr(0, 100)), Step::hang_up()});
    expect_failure(client.get("/api/uptime"), 500);
    for (int i = 0; i < 3; ++i) expect_failure(client.get("/api/changes"), 500);
    const Response unread = client.put("/api/channel/start", "");
    EXPECT_EQ(unread.status, 500) << "a plain action keeps its status on every server";
    EXPECT_EQ(unread.own_headers(), std::vector<std::string>{});
    EXPECT_EQ(client.get("/index.html").status, 307) << "pages need no daemon";
    EXPECT_EQ(daemon.take_requests().size(), 1u);
}

/* The one test that waits for the real time-out: ./test --fast leaves it out by its name. */
TEST_F(Answers, SilenceTimesOut)
{
    daemon.answer_once(uptime_get, {});
    expect_failure(client.get("/api/uptime"), 408);
    expect_good_exchange();
}

TEST_F(Answers, ValidationListReachesTheClient)
{
    const std::string entries = text_field("Port \"0\" <bad>", 255) + text_field("port", 255) +
                                text_field("No address", 255) + text_field("ipAddress", 255);
    daemon.answer_once(sap_set, {Step::send(reply(sap_set, 0, entries))});
    const Response refused = client.put("/api/sap", "port=0");
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(refused.body,
              "[\n{\"message\" : \"Port \\\"0\\\" &lt;bad&gt;\", \"property\" : \"port\"},\n"
              "{\"message\" : \"No address\", \"property\" : \"ipAddress\"}\n]");
    EXPECT_EQ(refused.own_headers(), json_headers);

    std::string many;
    for (int i = 0; i < 40; ++i)
        many += text_field(std::string(254, 'm'), 255) + text_field("p", 255);
    daemon.answer_once(sap_set, {Step::send(reply(sap_set, 0, many))});
    const Response cut = client.put("/api/sap", "port=0");
    EXPECT_EQ(cut.status, 507);
    EXPECT_EQ(cut.body.size(), 5119u);

    daemon.answer_once(sap_set, {Step::send(reply(sap_set, 0, entries + "x"))});
    expect_failure(client.put("/api/sap", "port=0"), 500);
    expect_good_exchange();
}

} // namespace
