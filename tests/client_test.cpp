/* The message client: what it sends, what it accepts, and what it leaves in the
 * stream. */
#include "sysmng/client.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/module_host.h"

namespace {

using namespace std::string_literals;

constexpr timeval no_wait = {0, 0};

/* Type 7, tag 0x44332211, a payload of 12 bytes; and one without a payload. */
const std::string payload = "\1\2\3\4\5\6\7\x8\x9\xA\xB\xC";
const std::string whole = "\x07\0\0\0\x19\0\0\0\x11\x22\x33\x44\xE8"s + payload;
const std::string empty = "\x07\0\0\0\x0D\0\0\0\x11\x22\x33\x44\x42"s;

const uint8_t *bytes_of(const std::string &text)
{
    return reinterpret_cast<const uint8_t *>(text.data());
}

class Client : public testing::Test {
protected:
    Client()
    {
        the_daemon.on_message = [this](const std::string &bytes) { sent += bytes; };
        paused_us = 0;
    }
    ~Client() override
    {
        SysMngDisconnect(handle);
        the_daemon.closes();
        the_daemon = {};
    }

    int send(uint32_t with_tag, uint32_t of_type, const std::string &bytes)
    {
        return SysMngSendMsg(handle, with_tag, of_type, bytes.empty() ? nullptr : bytes_of(bytes),
                             static_cast<uint32_t>(bytes.size()));
    }

    int receive(uint32_t capacity = sizeof(buffer))
    {
        length = capacity;
        return SysMngReceiveMsg(handle, &tag, &type, buffer, &length);
    }

    std::string received() const { return {buffer, buffer + length}; }

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

TEST_F(Client, SendsHeaderChecksumAndPayload)
{
    EXPECT_EQ(send(0xFFFFFFFF, 44, ""), 0);
    EXPECT_EQ(to_hex(sent), "2C 00 00 00 0D 00 00 00 FF FF FF FF CB");
    sent.clear();
    EXPECT_EQ(send(0x44332211, 7, payload), 0);
    EXPECT_EQ(to_hex(sent), to_hex(whole));
    EXPECT_EQ(send(0, 1, std::string(4 * 1024 * 1024, 'x')), -1) << "a partial send";
}

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
    EXPECT_EQ(receive(0), -1);
    EXPECT_EQ(receive(1), 0) << "the message is still there";

    SysMngHeader header = {{0, 0, 0, 0, 12}};
    EXPECT_EQ(SysMngChecksumGenerate(&header, buffer), -1) << "length below the header's";
    header.bytes[4] = 14;
    EXPECT_EQ(SysMngChecksumVerify(&header, nullptr), -1) << "payload missing";
    EXPECT_EQ(SysMngChecksumVerify(nullptr, buffer), -1);
}

TEST_F(Client, ReceivesAMessage)
{
    EXPECT_EQ(SysMngWaitMsg(handle, no_wait), -2);
    the_daemon.sends(whole);
    EXPECT_EQ(SysMngWaitMsg(handle, no_wait), 0);
    ASSERT_EQ(receive(), 0);
    EXPECT_EQ(type, 7u);
    EXPECT_EQ(tag, 0x44332211u);
    EXPECT_EQ(received(), payload);
    the_daemon.sends(empty);
    ASSERT_EQ(SysMngReceiveMsg(handle, nullptr, &type, buffer, &length), 0);
    EXPECT_EQ(length, 0u);
}

TEST_F(Client, KeepsAMessageThatNeedsALargerBuffer)
{
    the_daemon.sends(whole);
    EXPECT_EQ(receive(8), -3);
    EXPECT_EQ(length, 12u);
    EXPECT_EQ(type, 7u);
    EXPECT_EQ(SysMngWaitMsg(handle, no_wait), -1) << "a header is held";
    EXPECT_EQ(receive(11), -3);
    EXPECT_EQ(receive(12), 0);
    EXPECT_EQ(received(), payload);
    EXPECT_EQ(SysMngWaitMsg(handle, no_wait), -2) << "nothing is held any more";
}

TEST_F(Client, DropsWhatIsPendingWithABadMessage)
{
    const std::pair<const char *, std::string> cases[] = {
        {"a header cut short", whole.substr(0, 12)},
        {"a length below the header's", std::string(whole).replace(4, 1, "\x0C")},
        {"a length of nothing", std::string(whole).replace(4, 1, "\0", 1)},
        {"a payload cut short", whole.substr(0, 24)},
        {"a checksum off by one", std::string(whole).replace(12, 1, "\xE9")},
    };
    for (const auto &[what, bytes] : cases) {
        SCOPED_TRACE(what);
        the_daemon.sends(bytes);
        EXPECT_EQ(receive(), -1);
        EXPECT_TRUE(input_is_empty());
        the_daemon.sends(whole);
        EXPECT_EQ(receive(), 0) << "the next message starts at its header";

        /* What arrives later of a bad one is dropped before the next send, once. */
        the_daemon.sends(bytes);
        EXPECT_EQ(receive(), -1);
        for (const bool dropped : {true, false}) {
            the_daemon.sends(empty);
            EXPECT_EQ(send(0, 1, ""), 0);
            EXPECT_EQ(input_is_empty(), dropped);
        }
        EXPECT_EQ(receive(), 0);
    }
}

TEST_F(Client, GivesAMessageInPiecesTheTimeToArrive)
{
    std::string pieces = whole;
    for (const bool arrives : {true, false}) {
        the_daemon.sends(pieces.substr(0, 13));
        the_daemon.in_pauses = pieces.substr(13);
        paused_us = 0;
        EXPECT_EQ(SysMngWaitMsg(handle, no_wait), 0) << "even if it stops arriving";
        EXPECT_EQ(receive(), arrives ? 0 : -1);
        if (arrives) {
            EXPECT_LE(paused_us, 4000);
        } else {
            EXPECT_EQ(paused_us / 10000, 25) << "a quarter of a second after the last byte";
        }
        pieces.pop_back();
    }
}

TEST_F(Client, SurvivesAClosedPeer)
{
    EXPECT_NE(fcntl(handle->fd, F_GETFL) & O_NONBLOCK, 0);
    the_daemon.closes();
    EXPECT_EQ(send(0, 1, ""), -1) << "and no signal is raised";
    EXPECT_EQ(SysMngWaitMsg(handle, no_wait), 0) << "an end of stream is readable";
    EXPECT_EQ(receive(), -1);
}

} // namespace
