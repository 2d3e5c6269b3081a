/* The command transaction: what it logs, what it leaves in the buffer and in
 * the stream, and how it recovers. */
#include "sysmng/command.h"

#include "tests/support/module_test.h"

namespace {

class Command : public ModuleTest {
protected:
    int command(uint32_t code)
    {
        server_log.clear();
        state->msg_len = 0;
        return kelto_sysmgmt_command(nullptr, state, code);
    }

    std::string record() const
    {
        return std::string(reinterpret_cast<char *>(reply_record(state)), reply_record_len(state));
    }

    /* The lines in order, without their numbers; all begin alike. */
    static std::string logged()
    {
        std::string lines;
        for (const std::string &line : server_log) {
            EXPECT_EQ(line.rfind("kelto_sysmgmt_command.", 0), 0u) << line;
            lines += line.substr(line.find(": ") + 2) + "\n";
        }
        return lines;
    }
};

TEST_F(Command, LogsEachStepAndTheCauseOfAFailure)
{
    const std::string start = "kelto_sysmgmt_command:  52 \n";
    const std::string sent = "Send command OK \n", arrived = sent + "Wait data OK \n";
    const std::string received = arrived + "Success and break \n";
    const std::string success = "Will return SUCCESS \n";
    const std::string invalid = received + "SysMngReceiveMsg Returned invalid type";
    const std::string wrong_size = invalid + " or size 0 \n";
    const std::string grow = arrived + "SysMngReceiveMsg Returned RET_INSUFMEM, allocated ";
    const std::string large(20000, 'x');
    std::string damaged = reply(52, 1, std::string(30000, 'x'));
    damaged.back() = 'y';
    const struct {
        std::string reply;
        const char *failing; /* a call */
        int result;
        std::string record;
        std::string lines;
    } cases[] = {
        {reply(52, 1, "record"), "", 0, "record", received + success},
        {reply(52, 1, 0xFFFFFFFF, "abc"), "", 0, "abc", received + success},
        {reply(52, 1, 2, "abc"), "", 0, "ab", received + success},
        {"", "send", -1, "", "SysMngSendMsg Returned ret= -1 \n"},
        {"", "select", -1, "", sent + "SysMngWaitMsg Returned ret= -1 \n"},
        {"", "", -2, "", sent + "SysMngWaitMsg Returned ret= -2 \n"},
        {"short", "", -1, "", arrived + "SysMngReceiveMsg Returned  -1 \n"},
        {message(7, std::string(12, '\0')), "", -1, "", wrong_size},
        {message(0, "eleven byte"), "", -1, "", wrong_size},
        {reply(44, 1, ""), "", -1, "", invalid + "  44 (expected 52 ) or result 1 \n"},
        {reply(52, 9, ""), "", -1, "", invalid + "  52 (expected 52 ) or result 9 \n"},
        /* One byte more than the greatest length that is believed. */
        {message(0, "").replace(4, 4, u32(13 + (16 << 20) + 1)), "", -3, "",
         grow + "16384 need  16777217 \nrealloc failed \n"},
        {reply(52, 1, large), "realloc", -3, "", grow + "16384 need  20012 \nrealloc failed \n"},
        {reply(52, 1, large), "", 0, large,
         grow + "16384 need  20012 \nrealloc success: 20012 bytes allocated \n" + success},
        {reply(52, 1, large), "realloc", 0, large, received + success},
        {damaged, "", -1, "",
         grow + "20012 need  30012 \nrealloc success: 30012 bytes allocated \n"
                "SysMngReceiveMsg Returned after realloc -1 \n"},
    };
    for (const auto &[reply, failing, result, expected, lines] : cases) {
        SCOPED_TRACE(lines);
        if (!reply.empty()) will_send(reply);
        const FailingCall failing_call(failing, 1);
        EXPECT_EQ(command(52), result);
        EXPECT_EQ(logged(), start + lines);
        EXPECT_EQ(record(), expected);
    }
    const int64_t before = clock_us;
    EXPECT_EQ(command(52), -2);
    EXPECT_EQ(clock_us - before, 30000000);
}

TEST(CommandNames, StandAtTheirCodes)
{
    /* The rest follows: the codes between are the routes'. */
    const std::pair<uint32_t, const char *> names[] = {
        {0, "CMD_ACKNOWLEDGE"},    {1, "CMD_STREAM_GET"}, {50, "reserved"},
        {61, "CMD_SRT_STATS_GET"}, {62, "reserved"},      {63, "CMD_MAX_NUM"}};
    for (const auto &[code, name] : names) EXPECT_STREQ(command_names[code], name);
}

} // namespace
