/* The command transaction: what it logs, what it leaves in the buffer and in
 * the stream, and how it recovers. */
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sysmng/command.h"
#include "tests/support/failing_calls.h"
#include "tests/support/module_host.h"

namespace {

using Lines = std::vector<std::string>;

class Command : public ModuleTest {
protected:
    int command(uint32_t code)
    {
        log.clear();
        state->msg_len = 0;
        return kelto_sysmgmt_command(nullptr, state, code);
    }

    std::string record() const
    {
        return std::string(reinterpret_cast<char *>(reply_record(state)), reply_record_len(state));
    }

    /* What was logged, without the line numbers. */
    Lines logged() const
    {
        Lines items;
        for (const std::string &line : log) {
            EXPECT_EQ(line.rfind("(kelto_sysmgmt_command.", 0), 0u) << line;
            items.push_back(line.substr(line.find(") ") + 2));
        }
        return items;
    }
};

TEST_F(Command, LogsEachStep)
{
    will_reply(52, 1, "record");
    EXPECT_EQ(command(52), 0);
    EXPECT_EQ(logged(), (Lines{"kelto_sysmgmt_command:  52 ", "Send command OK ", "Wait data OK ",
                               "Success and break ", "Will return SUCCESS "}));
    EXPECT_EQ(record(), "record");
}

TEST_F(Command, LogsTheCauseOfAFailure)
{
    struct {
        const char *what;
        std::string reply;
        const char *failing;
        int result;
        Lines after_start;
    } const cases[] = {
        {"send", "", "send", -1, {"SysMngSendMsg Returned ret= -1 "}},
        {"wait", "", "select", -1, {"Send command OK ", "SysMngWaitMsg Returned ret= -1 "}},
        {"time-out", "", "timeout", -2, {"Send command OK ", "SysMngWaitMsg Returned ret= -2 "}},
        {"receive",
         "short",
         nullptr,
         -1,
         {"Send command OK ", "Wait data OK ", "SysMngReceiveMsg Returned  -1 "}},
        {"type",
         message(7, std::string(12, '\0')),
         nullptr,
         -1,
         {"Send command OK ", "Wait data OK ", "Success and break ",
          "SysMngReceiveMsg Returned invalid type or size 0 "}},
        {"size",
         message(0, "eleven byte"),
         nullptr,
         -1,
         {"Send command OK ", "Wait data OK ", "Success and break ",
          "SysMngReceiveMsg Returned invalid type or size 0 "}},
        {"echo",
         reply(44, 1, ""),
         nullptr,
         -1,
         {"Send command OK ", "Wait data OK ", "Success and break ",
          "SysMngReceiveMsg Returned invalid type  44 (expected 52 ) or result 1 "}},
        {"result",
         reply(52, 9, ""),
         nullptr,
         -1,
         {"Send command OK ", "Wait data OK ", "Success and break ",
          "SysMngReceiveMsg Returned invalid type  52 (expected 52 ) or result 9 "}},
        {"growth",
         reply(52, 1, std::string(20000, 'x')),
         "realloc",
         -3,
         {"Send command OK ", "Wait data OK ",
          "SysMngReceiveMsg Returned RET_INSUFMEM, allocated 16384 need  20012 ",
          "realloc failed "}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        if (!c.reply.empty()) will_send(c.reply);
        const FailingCall failing(c.failing ? c.failing : "none", 1);
        EXPECT_EQ(command(52), c.result);
        Lines expected = {"kelto_sysmgmt_command:  52 "};
        expected.insert(expected.end(), c.after_start.begin(), c.after_start.end());
        EXPECT_EQ(logged(), expected);
        EXPECT_EQ(reply_arrived(state), c.result == -1 && c.reply.size() >= 25 && c.reply[0] == 0);
    }
    will_reply(52, 1, "");
    EXPECT_EQ(command(52), 0) << "after all of these";
}

TEST_F(Command, GrowsTheMessageBufferOnceToWhatIsNeeded)
{
    const std::string record(20000, 'x');
    will_reply(52, 1, record);
    EXPECT_EQ(command(52), 0);
    EXPECT_EQ(logged(),
              (Lines{"kelto_sysmgmt_command:  52 ", "Send command OK ", "Wait data OK ",
                     "SysMngReceiveMsg Returned RET_INSUFMEM, allocated 16384 need  20012 ",
                     "realloc success: 20012 bytes allocated ", "Will return SUCCESS "}));
    EXPECT_EQ(state->msg_buf_size, 20012u);
    EXPECT_EQ(reply_record_len(state), 20000u);
    will_reply(52, 1, record);
    EXPECT_EQ(command(52), 0);
    EXPECT_EQ(log.size(), 5u) << "it stays that size";

    std::string damaged = reply(52, 1, std::string(30000, 'x'));
    damaged.back() = 'y';
    will_send(damaged);
    EXPECT_EQ(command(52), -1);
    EXPECT_EQ(logged().back(), "SysMngReceiveMsg Returned after realloc -1 ");
    EXPECT_EQ(state->msg_buf_size, 30012u);
}

TEST_F(Command, DoesNotBelieveInGiantReplies)
{
    for (const char *length : {"\xFF\xFF\xFF\xFF", "\x0E\x00\x00\x01"}) {
        std::string giant = message(0, "x");
        giant.replace(4, 4, length, 4);
        will_send(giant);
        EXPECT_EQ(command(52), -3);
        EXPECT_EQ(state->msg_buf_size, 16384u);
        will_reply(52, 1, "");
        EXPECT_EQ(command(52), 0);
    }
}

TEST_F(Command, CountsNoMoreThanWhatArrived)
{
    will_send(reply(52, 1, 0xFFFFFFFF, "abc"));
    EXPECT_EQ(command(52), 0);
    EXPECT_EQ(reply_record_len(state), 3u);
    will_send(reply(52, 1, 2, "abc"));
    EXPECT_EQ(command(52), 0);
    EXPECT_EQ(reply_record_len(state), 2u);
}

/* A time-out drains nothing; the reply that comes late fails the next command
 * by its echo, and what follows it is gone before the one after that. */
TEST_F(Command, FindsItsFeetAfterALateReply)
{
    {
        const FailingCall timeout("timeout", 1);
        EXPECT_EQ(command(52), -2);
    }
    daemon_sends(reply(52, 1, "late"));
    EXPECT_EQ(command(44), -1);
    daemon_sends(reply(44, 1, "behind"));
    will_reply(36, 1, "its own");
    EXPECT_EQ(command(36), 0);
    EXPECT_EQ(record(), "its own");
}

TEST_F(Command, TakesALateReplyToTheSameCommandForItsOwn)
{
    {
        const FailingCall timeout("timeout", 1);
        EXPECT_EQ(command(52), -2);
    }
    daemon_sends(reply(52, 1, "late"));
    will_reply(52, 1, "its own");
    EXPECT_EQ(command(52), 0);
    EXPECT_EQ(record(), "late");
}

TEST_F(Command, FailsAtOnceWhenTheDaemonIsGone)
{
    close_daemon();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(command(52), -1);
        EXPECT_EQ(logged().back(), "SysMngSendMsg Returned ret= -1 ");
    }
}

TEST(CommandNames, StandAtTheirCodes)
{
    struct {
        uint32_t code;
        const char *name;
    } const cases[] = {
        {0, "CMD_ACKNOWLEDGE"},
        {1, "CMD_STREAM_GET"},
        {6, "CMD_DECODER_GET"},
        {18, "CMD_CHANNEL_GET"},
        {22, "CMD_NETWORK_GET"},
        {28, "CMD_SECURITY_GET"},
        {33, "CMD_SYSDATETIME_GET"},
        {39, "CMD_CONFIGURATION_GET"},
        {44, "CMD_GENERAL_GET"},
        {49, "CMD_GENERAL_FREESPACE_GET"},
        {50, "reserved"},
        {51, "CMD_GENERAL_UID_LED_NEW"},
        {52, "CMD_UPTIME_GET"},
        {58, "CMD_TALKBACK_STOP"},
        {59, "CMD_CHANGES_GET"},
        {61, "CMD_SRT_STATS_GET"},
        {62, "reserved"},
        {63, "CMD_MAX_NUM"},
    };
    for (const auto &c : cases) EXPECT_STREQ(command_names[c.code], c.name);
}

} // namespace
