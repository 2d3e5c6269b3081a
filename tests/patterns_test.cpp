/* How handlers answer: status, body and result for every way in which a
 * command can end, for one route of each kind. */
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/failing_calls.h"
#include "tests/support/module_host.h"

namespace {

enum Kind {
    GET_RECORD,
    GET_LIST,
    GET_ITEM,
    PUT_RECORD,
    PUT_ITEM,
    CREATE,
    RUN,
    RUN_ITEM,
    DELETE_ITEM,
    SUBMIT
};

struct RouteOfKind {
    Kind kind;
    http_method_t method;
    const char *path;
    uint32_t command;
    size_t reply_size; /* of the record that the reply must hold; 0: none */
    int success, failure;
    bool error_result; /* a failure is HANDLER_ERROR */
};

const RouteOfKind routes_of_kinds[] = {
    {GET_RECORD, HTTP_METHOD_GET, "/api/leds", 36, 12, 200, 500, true},
    {GET_LIST, HTTP_METHOD_GET, "/api/stream", 1, 1694, 200, 500, true},
    {GET_LIST, HTTP_METHOD_GET, "/api/network", 22, 481, 200, 500, true},
    {GET_LIST, HTTP_METHOD_GET, "/api/sap/stream", 26, 80, 200, 500, true},
    {GET_LIST, HTTP_METHOD_GET, "/api/configuration", 39, 770, 200, 500, true},
    {GET_ITEM, HTTP_METHOD_GET, "/api/stream/12", 1, 1694, 200, 404, true},
    {GET_ITEM, HTTP_METHOD_GET, "/api/configuration/12", 39, 770, 200, 404, true},
    {PUT_RECORD, HTTP_METHOD_PUT, "/api/services", 38, 0, 204, 500, true},
    {PUT_RECORD, HTTP_METHOD_PUT, "/api/network", 23, 0, 204, 500, true},
    {PUT_ITEM, HTTP_METHOD_PUT, "/api/stream/12", 3, 0, 204, 404, true},
    {PUT_ITEM, HTTP_METHOD_PUT, "/api/configuration/12", 41, 0, 204, 404, true},
    {CREATE, HTTP_METHOD_POST, "/api/stream", 2, 1694, 201, 500, true},
    {CREATE, HTTP_METHOD_POST, "/api/configuration", 40, 770, 201, 500, true},
    {RUN, HTTP_METHOD_PUT, "/api/channel/start", 19, 0, 204, 500, false},
    {RUN, HTTP_METHOD_PUT, "/api/channel/stop", 20, 0, 204, 500, false},
    {RUN, HTTP_METHOD_PUT, "/api/talkback/start", 57, 0, 204, 500, false},
    {RUN, HTTP_METHOD_PUT, "/api/talkback/stop", 58, 0, 204, 500, false},
    {RUN, HTTP_METHOD_PUT, "/api/security/certificate/default", 31, 0, 204, 500, false},
    {RUN, HTTP_METHOD_PUT, "/api/general/restart", 45, 0, 204, 500, false},
    {RUN, HTTP_METHOD_PUT, "/api/general/factoryReset", 46, 0, 204, 500, false},
    {RUN_ITEM, HTTP_METHOD_PUT, "/api/stream/select/12", 5, 0, 204, 500, false},
    {RUN_ITEM, HTTP_METHOD_PUT, "/api/configuration/activate/12", 43, 0, 204, 500, false},
    {DELETE_ITEM, HTTP_METHOD_DELETE, "/api/stream/12", 4, 0, 204, 404, true},
    {DELETE_ITEM, HTTP_METHOD_DELETE, "/api/configuration/12", 42, 0, 204, 404, true},
    {SUBMIT, HTTP_METHOD_POST, "/api/general/firmwareUpgrade", 47, 266, 200, 500, true},
    {SUBMIT, HTTP_METHOD_POST, "/api/security/certificate", 30, 266, 200, 500, true},
};

bool sends_identifier(Kind kind)
{
    return kind == GET_ITEM || kind == RUN_ITEM || kind == DELETE_ITEM;
}

std::string entry(std::string message, std::string property)
{
    message.resize(255, '\0');
    property.resize(255, '\0');
    return message + property;
}

class Patterns : public ModuleTest {
protected:
    Answer ask(const RouteOfKind &route)
    {
        const bool has_form = route.kind == PUT_RECORD || route.kind == PUT_ITEM ||
                              route.kind == CREATE || route.kind == SUBMIT;
        return request(route.method, route.path, has_form ? "name=x" : "");
    }

    void expect_failure(const RouteOfKind &route, const Answer &answer, int status)
    {
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.body, "");
        EXPECT_TRUE(answer.headers.empty());
        EXPECT_EQ(answer.result, route.error_result ? HANDLER_ERROR : HANDLER_FINISHED);
        EXPECT_EQ(answer.finished, !route.error_result);
        EXPECT_EQ(answer.mode, route.error_result ? 0u : 3u) << "the server's page stays away";
    }
};

TEST_F(Patterns, Succeed)
{
    for (const RouteOfKind &route : routes_of_kinds) {
        SCOPED_TRACE(route.path);
        will_reply(route.command, 1, std::string(route.reply_size, '\0'));
        const Answer answer = ask(route);
        EXPECT_EQ(answer.status, route.success);
        EXPECT_EQ(answer.result, HANDLER_FINISHED);
        EXPECT_TRUE(answer.finished);
        EXPECT_EQ(answer.mode, 0u);
        EXPECT_EQ(answer.body.empty(), route.reply_size == 0);
        EXPECT_EQ(answer.headers.size(), route.reply_size == 0 ? 0u : 4u);
        const Sent request = sent();
        EXPECT_EQ(request.type, route.command);
        EXPECT_EQ(request.tag, 0xFFFFFFFF);
        if (sends_identifier(route.kind)) {
            EXPECT_EQ(request.payload, std::string("\x0C\0\0\0\x0C\0\0\0", 8));
        } else if (route.method == HTTP_METHOD_GET || route.kind == RUN) {
            EXPECT_EQ(request.payload, "");
        }
    }
}

TEST_F(Patterns, TellFailuresByTheirStatus)
{
    for (const RouteOfKind &route : routes_of_kinds) {
        SCOPED_TRACE(route.path);
        will_reply(route.command, 0, "");
        expect_failure(route, ask(route), route.failure);
        will_reply(route.command + 1, 1, std::string(route.reply_size, '\0'));
        const Answer wrong_echo = ask(route);
        if (route.kind == SUBMIT) {
            EXPECT_EQ(wrong_echo.status, 400) << "a result record came with it";
        } else {
            expect_failure(route, wrong_echo, route.failure);
        }
        if (route.reply_size > 0) {
            will_reply(route.command, 1, std::string(route.reply_size - 1, '\0'));
            expect_failure(route, ask(route), route.failure);
        }
        {
            const FailingCall timeout("timeout", 1);
            expect_failure(route, ask(route), 408);
        }
        {
            will_send(reply(route.command, 1, std::string(20000, '\0')));
            state->msg_buf_size = 16384; /* as if no earlier reply had grown it */
            const FailingCall realloc("realloc", 1);
            expect_failure(route, ask(route), 507);
        }
        {
            const FailingCall send("send", 1);
            expect_failure(route, ask(route), route.failure);
        }
    }
}

TEST_F(Patterns, ShowTheDaemonsComplaints)
{
    const std::string entries = entry("too <low>", "port") + entry("bad \"name\"", "name[0]");
    const std::string list =
        "[\n"
        R"({"message" : "too &lt;low&gt;", "property" : "port"},)"
        "\n"
        R"({"message" : "bad \"name\"", "property" : "name[0]"})"
        "\n]";
    for (const RouteOfKind &route : routes_of_kinds) {
        SCOPED_TRACE(route.path);
        will_reply(route.command, 2, entries);
        const Answer answer = ask(route);
        if (route.kind == PUT_RECORD || route.kind == CREATE) {
            EXPECT_EQ(answer.status, 400);
            EXPECT_EQ(answer.body, list);
            EXPECT_EQ(answer.header("Content-Type"), "text/json");
            EXPECT_EQ(answer.mode, 3u);
        } else if (route.kind == PUT_ITEM) {
            EXPECT_EQ(answer.status, 404);
            EXPECT_EQ(answer.body, "");
            EXPECT_EQ(answer.result, HANDLER_FINISHED);
        } else if (route.kind != SUBMIT) {
            expect_failure(route, answer, route.failure);
        }
    }
}

TEST_F(Patterns, TakeNothingElseForAListOfComplaints)
{
    const RouteOfKind &put = routes_of_kinds[7];
    for (const size_t length : {0u, 1u, 509u, 511u, 700u, 1019u}) {
        will_reply(put.command, 0, std::string(length, 'x'));
        expect_failure(put, ask(put), 500);
    }
    /* A length that claims more than came counts as what came. */
    will_send(reply(put.command, 0, 1020, entry("m", "p")));
    EXPECT_EQ(ask(put).body, "[\n{\"message\" : \"m\", \"property\" : \"p\"}\n]");
    will_send(reply(put.command, 0, 509, entry("m", "p")));
    expect_failure(put, ask(put), 500);
    /* What a failed exchange left in the buffer is no list. */
    const FailingCall timeout("timeout", 1);
    expect_failure(put, ask(put), 408);
}

TEST_F(Patterns, CutAListOfComplaintsThatIsTooLong)
{
    /* An entry is 33 characters and its texts, a separator 2. Before the last
     * of 18 entries stand 2 + 17 * 290 characters; it adds 35 and its message. */
    const std::string long_text(254, 'm');
    struct {
        size_t last_message;
        int status;
        char last;
    } const cases[] = {{150, 400, ']'}, {151, 400, ']'}, {152, 507, '\n'}, {153, 507, '}'}};
    for (const auto &c : cases) {
        std::string entries;
        for (int i = 0; i < 17; ++i) entries += entry(long_text, "p");
        entries += entry(long_text.substr(0, c.last_message), "p");
        will_reply(38, 0, entries);
        const Answer answer = ask(routes_of_kinds[7]);
        EXPECT_EQ(answer.status, c.status) << c.last_message;
        EXPECT_EQ(answer.body.size(), c.last_message == 150 ? 5118u : 5119u);
        EXPECT_EQ(answer.body.back(), c.last);
        EXPECT_EQ(answer.result, HANDLER_FINISHED);
    }
}

TEST_F(Patterns, AnswerResultsOfUploads)
{
    std::string record(266, '\0');
    record.replace(0, 11, "12345678901"); /* fills its field */
    record.replace(11, 8, "all \\ ok");
    const std::string text = R"([ {"status" : "1234567890", "message" : "all \\ ok"} ])";
    for (const RouteOfKind &route : routes_of_kinds) {
        if (route.kind != SUBMIT) continue;
        for (const uint32_t result : {1u, 0u}) {
            will_reply(route.command, result, record);
            const Answer answer = ask(route);
            EXPECT_EQ(answer.status, result == 1 ? 200 : 400);
            EXPECT_EQ(answer.body, text);
        }
        will_reply(route.command, 0, record.substr(1));
        expect_failure(route, ask(route), 500);
    }
}

TEST_F(Patterns, ListsAreWholeOrNothing)
{
    for (const RouteOfKind &route : routes_of_kinds) {
        if (route.kind != GET_LIST) continue;
        SCOPED_TRACE(route.path);
        will_reply(route.command, 1, "");
        EXPECT_EQ(ask(route).body, "[ ]");
        for (const size_t length : {route.reply_size - 1, route.reply_size * 3 / 2}) {
            will_reply(route.command, 1, std::string(length, '\0'));
            expect_failure(route, ask(route), 500);
        }
    }
}

/* An empty stream is 588 characters; 1 or 2 separate it from what follows. */
TEST_F(Patterns, ListsGrowTheReplyBufferInSteps)
{
    struct {
        size_t count, extra; /* streams, and text in the last of them */
        uint32_t size;
        std::vector<std::string> new_sizes;
    } const cases[] = {
        {8, 397, 5120, {}}, /* 4132 + 588 + 397 + 1, and 2 to spare */
        {8, 398, 10240, {"10240"}}, {9, 0, 10240, {}},
        {20, 0, 15360, {"15360"}},  {50, 0, 30720, {"20480", "25600", "30720"}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.count);
        log.clear();
        std::string streams(c.count * 1694, '\0');
        for (size_t i = 0; i < c.extra; ++i) {
            streams[(c.count - 1) * 1694 + (i < 254 ? 80 + i : 343 + i - 254)] = 'x';
        }
        will_reply(1, 1, streams);
        const Answer answer = request(HTTP_METHOD_GET, "/api/stream");
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(answer.body.size(), 2 + c.count * 590 - 1 + c.extra + 1);
        EXPECT_EQ(answer.body.substr(answer.body.size() - 3), "}\n]");
        EXPECT_EQ(state->reply_buf_size, c.size);
        std::vector<std::string> lines, expected;
        for (const std::string &line : log) {
            if (line.find("Realloc") != std::string::npos) lines.push_back(line);
        }
        for (const std::string &size : c.new_sizes) {
            expected.push_back("(handle_stream_get.163) Realloc needed new_size =  " + size + " ");
        }
        EXPECT_EQ(lines, expected);
    }
}

TEST_F(Patterns, AListThatCannotGrowIsA507)
{
    will_reply(1, 1, std::string(9 * 1694, '\0'));
    const FailingCall realloc("realloc", 1);
    const Answer answer = request(HTTP_METHOD_GET, "/api/stream");
    EXPECT_EQ(answer.status, 507);
    EXPECT_EQ(answer.body, "");
    EXPECT_EQ(answer.result, HANDLER_ERROR);
    EXPECT_EQ(state->reply_buf_size, 5120u);
}

TEST_F(Patterns, SingleAnswersEndWithTheReplyBuffer)
{
    std::string notice(8194, 'b');
    will_reply(32, 1, notice);
    const Answer answer = request(HTTP_METHOD_GET, "/api/notice");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body.size(), 5119u);
    EXPECT_EQ(answer.body,
              R"([ {"isBannerEnabled" : true, "bannerText" : ")" + std::string(5119 - 45, 'b'));
}

TEST_F(Patterns, CreatedItemsAreShownAsTheDaemonHasThem)
{
    std::string record(770, '\0');
    record[0] = 42;
    record.replace(4, 6, "studio");
    will_reply(40, 1, record);
    const Answer answer = request(HTTP_METHOD_POST, "/api/configuration", "name=other");
    EXPECT_EQ(answer.status, 201);
    EXPECT_EQ(answer.body, R"([ {"id" : "42", "name" : "studio", "description" : "", )"
                           R"("created" : "", "isAutoStart" : false} ])");
}

TEST_F(Patterns, AnswersWithoutACommand)
{
    for (const char *path : {"/api/login", "/api/logout", "/api/general/uidLed"}) {
        const Answer answer = request(HTTP_METHOD_POST, path);
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(answer.body, "[ {} ]");
        EXPECT_EQ(answer.headers.size(), 4u);
    }
    const Answer empty = request(HTTP_METHOD_PUT, "/api/decoder");
    EXPECT_EQ(empty.result, HANDLER_FINISHED);
    EXPECT_TRUE(empty.finished);
    EXPECT_EQ(empty.status, 0) << "the server's own default";
    EXPECT_TRUE(empty.body.empty() && empty.headers.empty());
    EXPECT_EQ(sent().type, 0u) << "the daemon hears of none of them";
}

} // namespace
