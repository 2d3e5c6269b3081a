/* Every route: its methods, its commands, and its answer for every way in which
 * a command can end. */
#include <regex>
#include <set>

#include "module/routes.h"
#include "tests/resources.h"
#include "tests/support/module_test.h"

namespace {

using namespace resources;
using resources::Action, resources::Route; /* and not the module's */

struct Outcome {
    int success, failure;
    bool error;    /* a failure is HANDLER_ERROR, and the server's to show */
    bool has_form; /* the request has a body that is read */
    bool sends_id;
};
const std::map<std::string, Outcome> outcomes = {
    {"READ", {200, 500, true, false, false}},      {"LIST", {200, 500, true, false, false}},
    {"READ_ITEM", {200, 404, true, false, true}},  {"WRITE", {204, 500, true, true, false}},
    {"WRITE_ITEM", {204, 404, true, true, false}}, {"CREATE", {201, 500, true, true, false}},
    {"SUBMIT", {200, 500, true, true, false}},     {"RUN", {204, 500, false, false, false}},
    {"RUN_ITEM", {204, 500, false, false, true}},  {"REMOVE", {204, 404, true, false, true}},
};

/* Of the record that a reply must hold; 0: none. */
size_t reply_size(const Route &route, const Action &action)
{
    if (action.kind == "SUBMIT") return 266;
    return action.method == GET || action.kind == "CREATE" ? route.size : 0;
}

const char *const method_names[] = {"GET", "HEAD", "POST", "PUT", "DELETE"};

std::string entry(const std::string &message, const std::string &property)
{
    return text_field(message, 255) + text_field(property, 255);
}

using Headers = std::multimap<std::string, std::string>;
const Headers json_headers = {
    {"Content-Type", "text/json"},
    {"Access-Control-Max-Age", "0"},
    {"Cache-Control", "max-age=0,no-cache,no-store,post-check=0,pre-check=0,must-revalidate"},
    {"Expires", "-1"},
};

class Routes : public ModuleTest {
protected:
    static void expect(const Answer &answer, int status, const std::string &body,
                       const Headers &headers)
    {
        EXPECT_EQ(answer.result, HANDLER_FINISHED);
        EXPECT_TRUE(answer.finished);
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.body, body);
        EXPECT_EQ(answer.mode, status >= 400 ? id : 0) << "the server's page stays away";
        EXPECT_EQ(answer.headers, headers);
    }

    static void expect_text(const Answer &answer, int status, const std::string &body)
    {
        expect(answer, status, body, json_headers);
    }

    static void expect_empty(const Answer &answer, int status) { expect(answer, status, "", {}); }

    static void expect_error(const Answer &answer, int status)
    {
        EXPECT_EQ(answer.result, HANDLER_ERROR);
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.body, "");
        EXPECT_TRUE(!answer.finished && answer.mode == 0 && answer.headers.empty());
    }

    /* The daemon's reply, or its silence, to one action, and what comes of it. */
    void check(const Route &route, const Action &action)
    {
        const auto [success, failure, error, has_form, sends_id] = outcomes.at(action.kind);
        const uint32_t command = action.command;
        const std::string record(reply_size(route, action), '\0');
        const std::string form = has_form ? "name=x" : "";
        const auto ask = [&](const std::string &bytes) {
            if (!bytes.empty()) will_send(bytes);
            return request(action.method, route.path, form);
        };
        const auto expect_failure = [&, is_error = error](const std::string &bytes, int status) {
            const Answer answer = ask(bytes);
            is_error ? expect_error(answer, status) : expect_empty(answer, status);
        };

        const Answer answer = ask(reply(command, 1, record));
        EXPECT_EQ(answer.body.empty(), record.empty());
        expect(answer, success, answer.body, record.empty() ? Headers() : json_headers);
        const Sent message = sent();
        EXPECT_EQ(message.type, command);
        EXPECT_EQ(message.tag, 0xFFFFFFFF);
        const std::string payload = sends_id ? u32(12) + u32(12) : "";
        if (!has_form) {
            EXPECT_EQ(message.payload, payload);
        }

        expect_failure(reply(command, 0, ""), failure);
        expect_failure("", 408);
        expect_failure(u32(0) + u32(0xFFFFFFFF) + u32(0) + "a giant", 507);
        if (!record.empty()) {
            expect_failure(reply(command, 1, record.substr(1)), failure);
            expect_failure(reply(command, 0, record.substr(1)), failure);
        }
        if (action.kind != "SUBMIT") expect_failure(reply(command + 1, 1, record), failure);
        if (action.kind == "LIST") {
            expect_text(ask(reply(command, 1, "")), 200, "[ ]");
            expect_failure(reply(command, 1, record + record.substr(1)), failure);
        }

        const std::string long_name(255, 'n');
        const std::string complaints =
            reply(command, 2, entry("too <low>", "port") + entry("bad \"name\"", long_name));
        if (action.kind == "WRITE" || action.kind == "CREATE") {
            expect_text(ask(complaints), 400,
                        "[\n{\"message\" : \"too &lt;low&gt;\", \"property\" : \"port\"},\n"
                        "{\"message\" : \"bad \\\"name\\\"\", \"property\" : \"" +
                            long_name.substr(1) + "\"}\n]");
        } else if (action.kind == "WRITE_ITEM") {
            expect_empty(ask(reply(command, 2, entry("m", "p"))), 404);
        } else if (action.kind != "SUBMIT") {
            expect_failure(complaints, failure);
        }
    }
};

TEST_F(Routes, AreAllInResourcesTxt)
{
    std::map<std::string, std::set<int>> tested;
    for (const Route &route : all_routes()) {
        for (const Action &action : route.actions) tested[route.path].insert(action.method);
    }
    for (size_t i = 0; i < route_count; ++i) {
        const ::Route &route = ::routes[i];
        const std::string path =
            std::regex_replace(std::string(route.path), std::regex("\\^|\\(.*"), "");
        std::set<int> methods;
        for (const ::Action &action : route.actions) {
            if (action.handler || action.id_handler) methods.insert(action.method);
        }
        EXPECT_EQ(tested[route.path[0] == '^' ? path + "12" : path], methods) << path;
    }
    EXPECT_EQ(all_routes().size(), route_count);
}

TEST_F(Routes, KnowTheirMethods)
{
    for (const Route &route : all_routes()) {
        std::string allow;
        for (const Action &action : route.actions) {
            allow += allow.empty() ? "" : ",";
            allow += method_names[action.method];
        }
        /* The last ones are not among the names: PROPFIND, and no method at all. */
        for (const int method : {0, 1, 2, 3, 4, 5, 6, 7, 30, -1}) {
            SCOPED_TRACE(route.path + " " + std::to_string(method));
            const Answer answer = request(static_cast<http_method_t>(method), route.path);
            const Action *accepted = nullptr;
            for (const Action &action : route.actions) {
                if (action.method == method) accepted = &action;
            }
            EXPECT_EQ(sent().type, accepted ? accepted->command : 0);
            if (!accepted) {
                expect(answer, 405, "", {{"Allow", allow}});
            } else if (accepted->kind == "NONE") {
                const bool has_text = method == POST && route.path != "/api/sap/stream";
                has_text ? expect_text(answer, 200, "[ {} ]") : expect_empty(answer, 0);
            }
        }
    }
}

TEST_F(Routes, TellByTheirStatusHowACommandEnded)
{
    for (const Route &route : all_routes()) {
        for (const Action &action : route.actions) {
            SCOPED_TRACE(route.path + " " + std::to_string(action.command));
            if (action.kind != "NONE") check(route, action);
        }
    }
}

/* Also where the server goes on before the body is whole, as one that streams bodies does. */
TEST_F(Routes, DoNothingBeforeTheBodyIsWhole)
{
    static handler_t read;
    const std::string form = "name=x&port=5000&id[0]=1&packageName=/mnt/data/x";
    size_t tried = 0;
    for (const Route &route : all_routes()) {
        for (const Action &action : route.actions) {
            if (action.kind == "NONE" || !outcomes.at(action.kind).has_form) continue;
            for (const size_t cut : {0u, 1u, 12u, 47u}) {
                SCOPED_TRACE(route.path + " " + std::to_string(cut));
                begin(action.method, route.path);
                append_piece(con, {form.substr(0, cut)});
                con->request.content_length = static_cast<int64_t>(form.size());
                hosted_on_read_body(
                    con, [](server *, connection *, void *) { return read; }, nullptr);
                for (const handler_t result :
                     {HANDLER_GO_ON, HANDLER_WAIT_FOR_EVENT, HANDLER_ERROR, HANDLER_COMEBACK}) {
                    read = result;
                    const Answer answer = this->answer();
                    EXPECT_EQ(answer.result,
                              result == HANDLER_GO_ON ? HANDLER_WAIT_FOR_EVENT : result);
                    EXPECT_TRUE(!answer.finished && answer.status == 0 && answer.headers.empty());
                    EXPECT_EQ(sent().type, 0u) << "no command runs";
                }
                append_piece(con, {form.substr(cut)});
                will_reply(action.command, 1, std::string(reply_size(route, action), '\0'));
                EXPECT_EQ(answer().status, outcomes.at(action.kind).success);
                const Sent message = sent();
                EXPECT_EQ(message.type, action.command);
                EXPECT_NE(message.payload, "") << "the form is read";
                ++tried;
            }
        }
    }
    EXPECT_GE(tried, 4 * 16u) << "every route with a form, cut in four places";
}

TEST_F(Routes, ShowTheResultsOfUploads)
{
    const std::string record = text_field("12345678901", 11) + text_field("all \\ ok", 255);
    const std::string text = R"([ {"status" : "1234567890", "message" : "all \\ ok"} ])";
    const std::pair<std::string, int> cases[] = {
        {reply(47, 1, record), 200}, {reply(47, 0, record), 400}, {reply(46, 1, record), 400}};
    for (const auto &[bytes, status] : cases) {
        will_send(bytes);
        expect_text(request(POST, "/api/general/firmwareUpgrade", "packageName=x"), status, text);
    }
}

TEST_F(Routes, TakeNothingElseForAListOfComplaints)
{
    const std::string complaint = entry("m", "p");
    const auto put = [this](const std::string &bytes) {
        will_send(bytes);
        return request(PUT, "/api/services", "discovery=1");
    };
    for (const size_t length : {1u, 509u, 511u, 700u, 1019u})
        expect_error(put(reply(38, 0, std::string(length, 'x'))), 500);
    /* A length that claims more than came counts as what came. */
    expect_text(put(reply(38, 0, 1020, complaint)), 400,
                "[\n{\"message\" : \"m\", \"property\" : \"p\"}\n]");
    expect_error(put(reply(38, 0, 509, complaint)), 500);
    /* What a failed exchange left in the buffer is no list. */
    expect_error(request(PUT, "/api/services", "discovery=1"), 408);
}

TEST_F(Routes, CutAListOfComplaintsThatIsTooLong)
{
    /* An entry is 33 characters and its texts, a separator 2. Before the last
     * of 18 entries stand 2 + 17 * 290 characters; it adds 35 and its message. */
    const std::string message(254, 'm');
    std::string before, entries;
    for (int i = 0; i < 17; ++i) {
        before += "{\"message\" : \"" + message + "\", \"property\" : \"p\"},\n";
        entries += entry(message, "p");
    }
    for (const size_t last : {150u, 151u, 152u, 153u}) {
        const std::string cut = message.substr(0, last);
        will_reply(38, 0, entries + entry(cut, "p"));
        const std::string whole =
            "[\n" + before + "{\"message\" : \"" + cut + "\", \"property\" : \"p\"}\n]";
        expect_text(request(PUT, "/api/services"), last <= 151 ? 400 : 507, whole.substr(0, 5119));
    }
}

/* An empty stream is 588 characters; 1 or 2 separate it from what follows. */
TEST_F(Routes, GrowTheReplyBufferInStepsForALongList)
{
    const std::tuple<size_t, size_t, std::string, uint32_t> cases[] = {
        {8, 397, "", 5120}, /* 4132 + 588 + 397 + 1, and 2 to spare */
        {8, 398, "10240 ", 10240},
        {20, 0, "15360 ", 15360},
        {50, 0, "20480 25600 30720 ", 30720},
    };
    for (const auto &[count, extra, new_sizes, size] : cases) {
        SCOPED_TRACE(count); /* of streams; the last one has extra text */
        const std::string text(extra, 'x');
        const std::string last = text_field("", 80) + text_field(text.substr(0, extra / 2), 255) +
                                 text_field("", 8) + text_field(text.substr(extra / 2), 255);
        will_reply(1, 1, std::string((count - 1) * 1694, '\0') + text_field(last, 1694));
        server_log.clear();
        const Answer answer = get("/api/stream");
        EXPECT_EQ(answer.body.size(), 2 + count * 590 - 1 + extra + 1);
        EXPECT_EQ(answer.body.substr(answer.body.size() - 3), "}\n]");
        EXPECT_EQ(state->reply_buf_size, size);
        std::string logged;
        const std::string grown = "handle_stream_get.163: Realloc needed new_size =  ";
        for (const std::string &line : server_log) {
            if (line.rfind(grown, 0) == 0) logged += line.substr(grown.size());
        }
        EXPECT_EQ(logged, new_sizes);
    }
}

} // namespace
