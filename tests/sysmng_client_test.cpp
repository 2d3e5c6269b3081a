/* The message client on a socket pair: what it sends, what it accepts, and
 * what it leaves in the stream. */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "sysmng/client.h"

namespace {

using Bytes = std::vector<uint8_t>;
using namespace std::chrono_literals;

constexpr timeval no_wait = {0, 0};

class Client : public testing::Test {
protected:
    void SetUp() override
    {
        int fds[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
        ASSERT_EQ(fcntl(fds[0], F_SETFL, O_NONBLOCK), 0);
        handle.fd = fds[0];
        daemon = fds[1];
    }

    void TearDown() override
    {
        close(handle.fd);
        if (daemon >= 0) close(daemon);
    }

    void daemon_sends(const Bytes &bytes) const
    {
        ASSERT_EQ(write(daemon, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    Bytes daemon_reads() const
    {
        uint8_t bytes[256];
        const ssize_t got = recv(daemon, bytes, sizeof(bytes), MSG_DONTWAIT);
        return got > 0 ? Bytes(bytes, bytes + got) : Bytes();
    }

    int receive(uint32_t capacity)
    {
        length = capacity;
        return SysMngReceiveMsg(&handle, &tag, &type, buffer, &length);
    }

    bool input_is_empty() const
    {
        uint8_t byte;
        return recv(handle.fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0;
    }

    SysMngHandle handle = {};
    int daemon = -1;
    uint32_t tag = 0, type = 0, length = 0;
    uint8_t buffer[64] = {};
};

/* Type 7, tag 0x44332211, a payload of 12 bytes. */
const Bytes message = {0x07, 0, 0, 0, 0x19, 0, 0, 0, 0x11, 0x22, 0x33, 0x44, 0xE8,
                       1,    2, 3, 4, 5,    6, 7, 8, 9,    10,   11,   12};
const Bytes empty_message = {0x07, 0, 0, 0, 0x0D, 0, 0, 0, 0x11, 0x22, 0x33, 0x44, 0x42};

Bytes with(Bytes bytes, size_t at, uint8_t value)
{
    bytes[at] = value;
    return bytes;
}

Bytes first(const Bytes &bytes, size_t count)
{
    return Bytes(bytes.begin(), bytes.begin() + static_cast<long>(count));
}

TEST_F(Client, SendsHeaderChecksumAndPayload)
{
    EXPECT_EQ(SysMngSendMsg(&handle, 0xFFFFFFFF, 44, nullptr, 0), 0);
    EXPECT_EQ(daemon_reads(), (Bytes{0x2C, 0, 0, 0, 0x0D, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xCB}));
    const uint8_t payload[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(SysMngSendMsg(&handle, 0x44332211, 7, payload, sizeof(payload)), 0);
    EXPECT_EQ(daemon_reads(), message);
}

TEST_F(Client, RefusesBadArguments)
{
    uint8_t byte = 0;
    EXPECT_EQ(SysMngSendMsg(nullptr, 0, 1, nullptr, 0), -1);
    EXPECT_EQ(SysMngSendMsg(&handle, 0, 1, nullptr, 1), -1);
    EXPECT_EQ(SysMngSendMsg(&handle, 0, 1, &byte, 0xFFFFFFF8), -1) << "length over 32 bits";
    EXPECT_EQ(SysMngWaitMsg(nullptr, no_wait), -1);
    EXPECT_EQ(SysMngClearQueue(nullptr), -1);
    EXPECT_EQ(SysMngChecksumGenerate(nullptr, nullptr), -1);
    EXPECT_EQ(SysMngChecksumVerify(nullptr, nullptr), -1);
    SysMngDisconnect(nullptr);

    daemon_sends(empty_message);
    length = 8;
    EXPECT_EQ(SysMngReceiveMsg(nullptr, &tag, &type, buffer, &length), -1);
    EXPECT_EQ(SysMngReceiveMsg(&handle, &tag, nullptr, buffer, &length), -1);
    EXPECT_EQ(SysMngReceiveMsg(&handle, &tag, &type, nullptr, &length), -1);
    EXPECT_EQ(SysMngReceiveMsg(&handle, &tag, &type, buffer, nullptr), -1);
    EXPECT_EQ(receive(0), -1);
    EXPECT_EQ(receive(1), 0) << "the message is still there";
}

TEST(Checksum, NeedsALengthAndAPayload)
{
    SysMngHeader header = {{0, 0, 0, 0, 12, 0, 0, 0, 0, 0, 0, 0, 0}};
    EXPECT_EQ(SysMngChecksumGenerate(&header, nullptr), -1) << "length below the header's";
    EXPECT_EQ(SysMngChecksumVerify(&header, nullptr), -1);
    header.bytes[4] = 14;
    EXPECT_EQ(SysMngChecksumGenerate(&header, nullptr), -1) << "payload missing";
    EXPECT_EQ(SysMngChecksumVerify(&header, nullptr), -1);
    const uint8_t payload = 0xF2;
    EXPECT_EQ(SysMngChecksumGenerate(&header, &payload), 0);
    EXPECT_EQ(header.bytes[12], 0) << "14 + 242 is 256";
}

TEST_F(Client, ReceivesAMessage)
{
    daemon_sends(message);
    EXPECT_EQ(SysMngWaitMsg(&handle, no_wait), 0);
    ASSERT_EQ(receive(sizeof(buffer)), 0);
    EXPECT_EQ(length, 12u);
    EXPECT_EQ(type, 7u);
    EXPECT_EQ(tag, 0x44332211u);
    EXPECT_EQ(Bytes(buffer, buffer + 12), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));

    daemon_sends(empty_message);
    ASSERT_EQ(receive(1), 0);
    EXPECT_EQ(length, 0u);
}

TEST_F(Client, KeepsAMessageThatNeedsALargerBuffer)
{
    daemon_sends(message);
    EXPECT_EQ(receive(8), -3);
    EXPECT_EQ(length, 12u);
    EXPECT_EQ(type, 7u);
    EXPECT_EQ(SysMngWaitMsg(&handle, no_wait), -1) << "a header is held";
    EXPECT_EQ(receive(11), -3);
    EXPECT_EQ(receive(12), 0);
    EXPECT_EQ(buffer[11], 12);
    EXPECT_EQ(SysMngWaitMsg(&handle, no_wait), -2) << "nothing is held any more";
}

TEST_F(Client, DropsWhatIsPendingWithABadMessage)
{
    struct {
        const char *what;
        Bytes bytes;
    } const cases[] = {
        {"a header cut short", first(message, 12)},
        {"a length below the header's", with(message, 4, 12)},
        {"a length of nothing", with(message, 4, 0)},
        {"a payload cut short", first(message, 24)},
        {"a checksum off by one", with(message, 12, 0xE9)},
    };
    for (const auto &bad : cases) {
        SCOPED_TRACE(bad.what);
        daemon_sends(bad.bytes);
        EXPECT_EQ(receive(sizeof(buffer)), -1);
        EXPECT_TRUE(input_is_empty());
        daemon_sends(message);
        EXPECT_EQ(receive(sizeof(buffer)), 0) << "the next message starts at its header";
    }
}

TEST_F(Client, DropsTheRestOfABadMessageBeforeTheNextSend)
{
    daemon_sends(with(message, 12, 0));
    EXPECT_EQ(receive(sizeof(buffer)), -1);
    daemon_sends(empty_message);
    EXPECT_EQ(SysMngSendMsg(&handle, 0, 1, nullptr, 0), 0);
    EXPECT_TRUE(input_is_empty());
    daemon_sends(empty_message);
    EXPECT_EQ(SysMngSendMsg(&handle, 0, 1, nullptr, 0), 0);
    EXPECT_FALSE(input_is_empty()) << "once, not before every send";
}

TEST_F(Client, WaitsForWhatArrives)
{
    EXPECT_EQ(SysMngWaitMsg(&handle, {0, 1000}), -2);
    std::thread late([this] {
        std::this_thread::sleep_for(20ms);
        daemon_sends(message);
    });
    EXPECT_EQ(SysMngWaitMsg(&handle, {10, 0}), 0);
    late.join();
    EXPECT_EQ(receive(sizeof(buffer)), 0);
}

TEST_F(Client, GivesAMessageInPiecesTheTimeToArrive)
{
    std::thread slow([this] {
        daemon_sends(first(message, 13));
        for (size_t i = 13; i < message.size(); ++i) {
            std::this_thread::sleep_for(5ms);
            daemon_sends({message[i]});
        }
    });
    EXPECT_EQ(SysMngWaitMsg(&handle, {10, 0}), 0);
    EXPECT_EQ(receive(sizeof(buffer)), 0);
    slow.join();
}

TEST_F(Client, GivesUpOnAMessageThatStopsArriving)
{
    daemon_sends(first(message, 20));
    EXPECT_EQ(SysMngWaitMsg(&handle, {10, 0}), 0) << "and the receive tells that it is not whole";
    EXPECT_EQ(receive(sizeof(buffer)), -1);
}

TEST_F(Client, SurvivesAClosedPeer)
{
    close(daemon);
    daemon = -1;
    EXPECT_EQ(SysMngSendMsg(&handle, 0, 1, nullptr, 0), -1) << "and no signal is raised";
    EXPECT_EQ(SysMngWaitMsg(&handle, no_wait), 0) << "an end of stream is readable";
    EXPECT_EQ(receive(sizeof(buffer)), -1);
}

TEST_F(Client, CallsAPartialSendAFailure)
{
    const Bytes large(4 * 1024 * 1024);
    EXPECT_EQ(SysMngSendMsg(&handle, 0, 1, large.data(), static_cast<uint32_t>(large.size())), -1);
}

TEST(Connect, NeedsAKnownPathAndAListener)
{
    EXPECT_EQ(SysMngConnect(3), nullptr);
    const int before = dup(0);
    close(before);
    EXPECT_EQ(SysMngConnect(SYSMNG_WEB_PLUGIN), nullptr) << "nobody listens";
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, before) << "a descriptor stayed open";

    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "/tmp/sysmng_web_plugin.socket");
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    SysMngHandle *handle = SysMngConnect(SYSMNG_WEB_PLUGIN);
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(fcntl(handle->fd, F_GETFL) & O_NONBLOCK, 0);
    SysMngDisconnect(handle);
    close(listener);
    unlink(address.sun_path);
}

} // namespace
