/* Each allocation and each system call of the module fails in turn, once and
 * from then on, in requests of every kind. The sanitizers see crashes and
 * leaks. */
#include <unistd.h>

#include "tests/support/module_test.h"

namespace {

using namespace std::string_literals;

enum Body { NONE, FORM, UPLOAD };

struct Scenario {
    http_method_t method;
    const char *path;
    Body body;
    uint32_t command;
    uint32_t result;
    std::string record;
    int success, failure;
};

const std::string complaint = text_field("too <low>", 255) + text_field("port", 255);
const std::string result_record = text_field("OK", 11) + text_field("<done>", 255);

const Scenario scenarios[] = {
    {HTTP_METHOD_GET, "/api/leds", NONE, 36, 1, std::string(12, '\0'), 200, 500},
    {HTTP_METHOD_GET, "/api/stream", NONE, 1, 1, std::string(20 * 1694, '<'), 200, 500},
    {HTTP_METHOD_GET, "/api/stream/7", NONE, 1, 1, std::string(1694, '"'), 200, 404},
    {HTTP_METHOD_PUT, "/api/sap", FORM, 25, 1, "", 204, 500},
    {HTTP_METHOD_PUT, "/api/sap", FORM, 25, 2, complaint, 400, 500},
    {HTTP_METHOD_PUT, "/api/stream/7", FORM, 3, 1, "", 204, 404},
    {HTTP_METHOD_PUT, "/api/network", FORM, 23, 1, "", 204, 500},
    {HTTP_METHOD_POST, "/api/configuration", FORM, 40, 1, std::string(770, '\0'), 201, 500},
    {HTTP_METHOD_PUT, "/api/channel/start", NONE, 19, 1, "", 204, 500},
    {HTTP_METHOD_PUT, "/api/stream/select/7", NONE, 5, 1, "", 204, 500},
    {HTTP_METHOD_DELETE, "/api/stream/7", NONE, 4, 1, "", 204, 404},
    {HTTP_METHOD_POST, "/api/general/firmwareUpgrade", UPLOAD, 47, 1, result_record, 200, 500},
    {HTTP_METHOD_POST, "/api/security/certificate", UPLOAD, 30, 2, result_record, 400, 500},
};

/* The statuses that may come of a call that fails; 0 is HANDLER_ERROR without
 * a status, when the body cannot be read. */
struct Outcome {
    const char *call;
    bool may_succeed, may_fail;
    int status; /* besides; -1: none */
};
const Outcome outcomes[] = {
    {"malloc", false, true, -1}, {"calloc", true, false, 507},  {"realloc", false, false, 507},
    {"send", false, true, -1},   {"recv", true, true, -1},      {"select", false, true, -1},
    {"open", true, false, 0},    {"openat", true, false, -1},   {"mmap", false, false, 0},
    {"write", true, false, -1},  {"unlinkat", true, false, -1}, {"close", true, false, -1},
};

const std::string upload =
    "--XyZ\r\nContent-Disposition: form-data; name=\"packageName\"; filename=\"fw.bin\"\r\n\r\n";

class FailingCalls : public ModuleTest {
protected:
    ~FailingCalls() override { unlink("/mnt/data/fw.bin"); }

    /* Everything but the hook itself. */
    void prepare(const Scenario &scenario)
    {
        forget_replies();
        will_reply(scenario.command, scenario.result, scenario.record);
        begin(scenario.method, scenario.path);
        if (scenario.body == FORM) append_body({{"id[0]=1&port=5000&name=x"}});
        if (scenario.body == UPLOAD) {
            hosted_add_request_header(con, "Content-Type", "multipart/form-data; boundary=XyZ");
            append_body({{upload + "first"}, {"rest\r\n--XyZ--\r\n", Piece::NAMED_FILE}});
        }
    }

    /* Lets the nth call fail. False when there are fewer. `whole`: the body when none fails. */
    bool inject(const Scenario &scenario, const Outcome &outcome, int nth, bool from_then_on,
                const std::string &whole)
    {
        SCOPED_TRACE(scenario.path + " "s + outcome.call + " " + std::to_string(nth));
        prepare(scenario);
        state->msg_buf_size = 16384; /* so that long replies need their realloc */
        const Answer answer = [&] {
            const FailingCall failing(outcome.call, nth, from_then_on);
            return this->answer();
        }();
        if (FailingCall::calls < nth) return false;
        const bool as_if_nothing =
            outcome.may_succeed && answer.status == scenario.success && answer.body == whole;
        const bool failed = outcome.may_fail && answer.status == scenario.failure;
        EXPECT_TRUE(as_if_nothing || failed || answer.status == outcome.status)
            << "status " << answer.status;
        if (answer.status < 200) {
            EXPECT_TRUE(answer.result == HANDLER_ERROR && !answer.finished);
        }

        prepare(scenarios[0]);
        EXPECT_EQ(this->answer().body, R"([ {"ntp" : 0, "genlock" : 0, "talkback" : 0} ])");
        begin(HTTP_METHOD_GET, "");
        EXPECT_EQ(open_descriptors(), descriptors);
        return true;
    }

    const uint32_t descriptors = open_descriptors();
};

TEST_F(FailingCalls, EndInTheirStatusAndLeaveNothingBehind)
{
    int injected = 0;
    for (const Scenario &scenario : scenarios) {
        prepare(scenario);
        const Answer good = answer();
        ASSERT_EQ(good.status, scenario.success) << scenario.path;
        for (const Outcome &outcome : outcomes) {
            for (const bool from_then_on : {false, true}) {
                for (int nth = 1; inject(scenario, outcome, nth, from_then_on, good.body); ++nth)
                    ++injected;
            }
        }
    }
    printf("%d failing calls injected into %zu kinds of requests\n", injected,
           std::size(scenarios));
    EXPECT_GT(injected, 200);
}

} // namespace
