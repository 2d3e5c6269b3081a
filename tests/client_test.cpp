/* The message client: what it sends, what it accepts, and what it leaves in the
 * stream. */
#include "sysmng/client.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include "tests/support/module_host.h"

namespace {

using namespace std::string_literals;

constexpr timeval no_wait = {0, 0}, half_a_minute = {30, 0};

/* Type 7, tag 0x44332211, a payload of 12 bytes; and one without a payload. */
const std::string payload = "\1\2\3\4\5\6\7\x8\x9\xA\xB\xC";
const std::string whole = "\x07\0\0\0\x19\0\0\0\x11\x22\x33\x44\xE8"s + payload;
const std::string empty = "\x07\0\0\0\x0D\0\0\0\x11\x22\x33\x44\x42"s;

class Client : public testing::Test {
protected:
    Client()
    {
        the_daemon.on_message = [this](const std::string &bytes) { sent += bytes; };
        clock_us = 0;
    }
    ~Client() override
    {
        SysMngDisconnect(handle);
        the_daemon.closes();
        the_daemon = {};
    }

    int send(uint32_t with_tag = 0, uint32_t of_type = 1, const std::string &bytes = "")
    {
        const auto *const data = reinterpret_cast<const uint8_t *>(bytes.data());
        return SysMngSendMsg(handle, with_tag, of_type, bytes.empty() ? nullptr : data,
                             static_cast<uint32_t>(bytes.size()));
    }

    int wait(timeval timeout) { return SysMngWaitMsg(handle, timeout); }

    int receive(uint32_t capacity = sizeof(buffer))
    {
        length = capacity;
        return SysMngReceiveMsg(handle, &tag, &type, buffer, &length);
    }

    std::string received() const { return {buffer, buffer + length}; }

    /* What is received when these bytes are sent: a payload, or else the result. */
    std::string take(const std::string &bytes = "", const std::deque<Late> &later = {})
    {
        the_daemon.sends(bytes);
        the_daemon.later = later;
        const int result = receive();
        return result == 0 ? received() : std::to_string(result);
    }

    /* How long it takes to send after a while, when there is more to come. */
    int64_t time_to_send(int64_t after_us, const std::deque<Late> &later)
    {
        the_daemon.later = later;
        const int64_t begin = clock_us += after_us;
        EXPECT_EQ(send(), 0);
        return clock_us - begin;
    }

    bool input_is_empty() const
    {
        char byte;
        return ::recv(handle->fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0;
    }

    SysMngHandle *handle = SysMngConnect(SYSMNG_WEB_PLUGIN);
    std::string sent;
    uint32_t tag = 0, type = 0, length = 0;
    uint8_t buffer[64] = {};
};

TEST_F(Client, RefusesBadArguments)
{
    EXPECT_EQ(SysMngSendMsg(nullptr, 0, 1, nullptr, 0), -1);
    EXPECT_EQ(SysMngSendMsg(handle, 0, 1, nullptr, 1), -1);
    EXPECT_EQ(SysMngSendMsg(handle, 0, 1, buffer, 0xFFFFFFF8), -1) << "length over 32 bits";
    EXPECT_EQ(SysMngWaitMsg(nullptr, no_wait), -1);
    EXPECT_EQ(SysMngClearQueue(nullptr), -1);
    SysMngDisconnect(nullptr);
    EXPECT_EQ(SysMngConnect(3), nullptr);

    the_daemon.sends(empty);
    EXPECT_EQ(SysMngReceiveMsg(nullptr, &tag, &type, buffer, &length), -1);
    EXPECT_EQ(SysMngReceiveMsg(handle, &tag, &type, buffer, nullptr), -1);
    length = 1;
    EXPECT_EQ(SysMngReceiveMsg(handle, &tag, nullptr, buffer, &length), -1);
    EXPECT_EQ(SysMngReceiveMsg(handle, &tag, &type, nullptr, &length), -1);
    EXPECT_EQ(receive(0), -1);
    EXPECT_EQ(receive(1), 0) << "the message is still there";

    SysMngHeader header = {};
    header.length[0] = 12;
    EXPECT_EQ(SysMngChecksumGenerate(&header, buffer), -1) << "length below the header's";
    header.length[0] = 14;
    EXPECT_EQ(SysMngChecksumVerify(&header, nullptr), -1) << "payload missing";
    EXPECT_EQ(SysMngChecksumVerify(nullptr, buffer), -1);
}

TEST_F(Client, SendsAndReceivesMessages)
{
    EXPECT_EQ(send(0x44332211, 7, payload), 0);
    EXPECT_EQ(sent, whole);
    EXPECT_EQ(send(0, 1, std::string(4 * 1024 * 1024, 'x')), -1) << "a partial send";

    EXPECT_EQ(wait(no_wait), -2);
    the_daemon.sends(whole);
    EXPECT_EQ(wait(no_wait), 0);
    EXPECT_EQ(take(), payload);
    EXPECT_EQ(type, 7u);
    EXPECT_EQ(tag, 0x44332211u);
    EXPECT_EQ(take(message(7, "x") + empty + whole.substr(0, 20)), "x");
    EXPECT_EQ(SysMngReceiveMsg(handle, nullptr, &type, buffer, &length), 0);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(take(whole.substr(20)), payload) << "what came after the others was left alone";
}

TEST_F(Client, KeepsAMessageThatNeedsALargerBuffer)
{
    the_daemon.sends(whole);
    EXPECT_EQ(receive(8), -3);
    EXPECT_EQ(length, 12u);
    EXPECT_EQ(type, 7u);
    EXPECT_EQ(wait(no_wait), -1) << "a header is held";
    EXPECT_EQ(receive(11), -3);
    EXPECT_EQ(receive(12), 0);
    EXPECT_EQ(received(), payload);
    EXPECT_EQ(wait(no_wait), -2) << "nothing is held any more";
}

TEST_F(Client, DropsWhatIsPendingWithABadMessage)
{
    for (const auto &[name, bytes, effect, waits] : odd_replies(7, "record")) {
        if (effect != OddReply::BROKEN && effect != OddReply::CUT) continue;
        SCOPED_TRACE(name);
        EXPECT_EQ(take(bytes), "-1");
        EXPECT_TRUE(input_is_empty());
        EXPECT_EQ(take(whole), payload) << "the next message starts at its header";

        /* What arrives later of a bad one is dropped before the next send, once. */
        EXPECT_EQ(take(bytes), "-1");
        for (const bool dropped : {true, false}) {
            the_daemon.sends(empty);
            EXPECT_EQ(send(), 0);
            EXPECT_EQ(input_is_empty(), dropped);
        }
        EXPECT_EQ(take(), "");
    }
}

TEST_F(Client, CostsOneCallToSendOneToWaitAndTwoToReceive)
{
    the_daemon.on_message = [](const std::string &) { the_daemon.sends(whole); };
    for (const auto &[call, times] : {std::pair("send", 1), {"select", 1}, {"recv", 2}}) {
        const FailingCall counted(call, 0);
        EXPECT_EQ(send(), 0);
        EXPECT_EQ(wait(half_a_minute), 0);
        EXPECT_EQ(take(), payload);
        EXPECT_EQ(counted.calls, times) << call;
    }
}

TEST_F(Client, TakesAMessageInAnyPieces)
{
    for (size_t cut = 1; cut < whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        const std::string begin = whole.substr(0, cut), rest = whole.substr(cut);
        clock_us += 31000000; /* each message has its own half a minute */
        EXPECT_EQ(take(begin, {{250000, rest}}), payload);
        EXPECT_EQ(take(begin, {{250001, rest}}), "-1") << "a gap that is too long";
        EXPECT_TRUE(input_is_empty());
        EXPECT_EQ(send(), 0) << "the late rest goes before";
        EXPECT_EQ(the_daemon.later.size(), 0u);
        EXPECT_EQ(take(begin, {{1000, rest}}), payload);
    }
    std::deque<Late> bytes;
    for (const char byte : whole.substr(1)) bytes.push_back({249000, {byte}});
    EXPECT_EQ(take(whole.substr(0, 1), bytes), payload) << "byte by byte";
}

TEST_F(Client, WaitsForALateRestAsLongAsNoGapIsTooLong)
{
    const struct {
        size_t begin;     /* what came of the message before it failed */
        int64_t since_us; /* from then to the next message */
        std::deque<Late> rest;
        int64_t waited_us;
    } cases[] = {
        /* Of unknown length: a gap behind the last piece. */
        {5, 0, {{50000, whole.substr(5, 9)}, {60000, whole.substr(14)}}, 360000},
        {5, 0, {{240000, whole.substr(5)}}, 490000},
        {5, 0, {}, 250000},
        {5, 249999, {}, 1},
        {5, 250000, {}, 0},
        /* All that was missing has come. */
        {20, 0, {{1000, whole.substr(20, 1)}, {1000, whole.substr(21)}, {1, "behind"}}, 2000},
    };
    for (const auto &[begin, since_us, rest, waited_us] : cases) {
        EXPECT_EQ(take(whole.substr(0, begin)), "-1");
        EXPECT_EQ(time_to_send(since_us, rest), waited_us);
        EXPECT_TRUE(input_is_empty());
    }
}

/* As when there is no memory for a long list, which the daemon can send only while it is read. */
TEST_F(Client, DropsTheRestOfAReplyThatIsNotWanted)
{
    the_daemon.sends(whole.substr(0, 15));
    EXPECT_EQ(receive(1), -3);
    EXPECT_EQ(SysMngClearQueue(handle), 0);
    the_daemon.sends(whole.substr(15, 1));
    const std::deque<Late> rest = {
        {200000, whole.substr(16, 3)}, {200000, whole.substr(19)}, {1, "behind"}};
    EXPECT_EQ(time_to_send(5000000, rest), 400000);
    EXPECT_TRUE(input_is_empty());
}

TEST_F(Client, EndsAnExchangeAfterHalfAMinute)
{
    the_daemon.later = {{29000000, whole.substr(0, 1)}};
    for (const char byte : whole.substr(1)) the_daemon.later.push_back({200000, {byte}});
    EXPECT_EQ(wait(half_a_minute), 0);
    EXPECT_EQ(receive(), -1);
    EXPECT_EQ(clock_us, 30000000);

    /* The time of an exchange goes on while its payload waits for a larger buffer. */
    the_daemon.later.clear();
    send();
    the_daemon.later = {{20000000, whole.substr(0, 5)}, {200000, whole.substr(5, 8)}};
    EXPECT_EQ(wait(half_a_minute), 0);
    EXPECT_EQ(receive(1), -3);
    clock_us += 9700000;
    EXPECT_EQ(take("", {{200000, whole.substr(13, 1)}, {200000, whole.substr(14)}}), "-1");
}

TEST_F(Client, GoesOnWaitingAfterASignal)
{
    const Late signal = {1000000, ""};
    the_daemon.later = {signal, signal, {1000000, whole.substr(0, 3)}};
    EXPECT_EQ(wait(half_a_minute), 0);
    EXPECT_EQ(take("", {{100000, ""}, {100000, whole.substr(3)}}), payload);
    the_daemon.later = {signal, signal, signal};
    EXPECT_EQ(wait({2, 500000}), -2);
    EXPECT_EQ(clock_us, 3200000 + 2500000) << "with the time that is left";
}

TEST_F(Client, IsNotHeldUpByADaemonThatNeverStops)
{
    the_daemon.floods = true;
    const FailingCall counted("recv", 0);
    EXPECT_EQ(SysMngClearQueue(handle), 0);
    EXPECT_LT(counted.calls, 100000);
    EXPECT_EQ(send(), 0);
}

/* A peer whose bytes were not read would see a reset and not an end. */
TEST_F(Client, ReadsWhatIsPendingBeforeItCloses)
{
    the_daemon.sends(whole);
    SysMngDisconnect(std::exchange(handle, nullptr));
    char byte;
    EXPECT_EQ(::recv(the_daemon.fd, &byte, 1, MSG_DONTWAIT), 0);
}

TEST_F(Client, SurvivesAClosedPeer)
{
    EXPECT_NE(fcntl(handle->fd, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(take(whole + whole.substr(0, 13)), payload);
    the_daemon.closes();
    EXPECT_EQ(receive(), -1) << "and not the payload that the buffer still has";
    EXPECT_EQ(send(), -1) << "and no signal is raised";
    EXPECT_EQ(wait(no_wait), 0) << "an end of stream is readable";
    EXPECT_EQ(receive(), -1);
}

} // namespace
