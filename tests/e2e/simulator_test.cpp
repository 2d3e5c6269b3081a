/* The simulated daemon as its clients see it, in raw bytes: nothing here is
 * taken from the declarations that the simulator shares with the module. */
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <memory>

#include "tests/support/messages.h"
#include "tests/support/process.h"
#include "tests/support/web_server.h"

namespace {

class Simulator : public testing::Test {
protected:
    const PrivateDirectory directory;
    const std::string path = directory.path + "/socket", log = directory.path + "/log";
    std::unique_ptr<Process> process;
    int client = -1;

    /* Its input are these lines. */
    void start(const std::string &lines = "")
    {
        write_file(directory.path + "/input", lines);
        process = std::make_unique<Process>(
            std::vector<std::string>{SYSMNGD_SIM, "--socket", path, "--control", "-"}, log,
            directory.path + "/input");
        ASSERT_TRUE(wait_until([this] { return connects(); })) << read_file(log);
    }

    void TearDown() override
    {
        EXPECT_EQ(process->stop(), 0) << read_file(log);
        EXPECT_NE(access(path.c_str(), F_OK), 0) << "the socket is left behind";
        close(client);
    }

    bool connects()
    {
        sockaddr_un address = {AF_UNIX, {}};
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        close(client);
        client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        return connect(client, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0;
    }

    void send(const std::string &bytes) const
    {
        EXPECT_EQ(::send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL), ssize_t(bytes.size()));
    }

    /* Shorter when the connection ends. */
    std::string receive(size_t count) const
    {
        std::string bytes(count, '\0');
        const ssize_t got = count > 0 ? recv(client, bytes.data(), count, MSG_WAITALL) : 0;
        return bytes.substr(0, got > 0 ? static_cast<size_t>(got) : 0);
    }

    /* Whether a whole reply to the command tells of success. */
    bool succeeds(uint32_t code) const
    {
        const std::string header = receive(13), payload = receive(u32_at(header, 4) - 13);
        const uint32_t result = u32_at(payload, 4);
        EXPECT_TRUE(header + payload == reply(code, result, payload.substr(12))) << code;
        return result == 1;
    }
};

TEST_F(Simulator, AnswersHoweverARequestIsCut)
{
    start();
    const std::string request = message(52, "");
    for (size_t cut = 1; cut < request.size(); ++cut) {
        send(request.substr(0, cut));
        usleep(2000);
        send(request.substr(cut) + message(53, "") + message(60, "?"));
        EXPECT_TRUE(succeeds(52));
        EXPECT_FALSE(succeeds(53)) << "no command";
        EXPECT_FALSE(succeeds(60)) << "it takes no record";
    }
    send(message(52, "").replace(12, 1, "?"));
    EXPECT_FALSE(succeeds(52)) << "a wrong checksum";
    send(message(52, "").replace(4, 4, u32(12)));
    EXPECT_EQ(receive(1), "") << "an impossible length ends the connection";
}

TEST_F(Simulator, MakesTheFaultsThatAreTyped)
{
    const std::string good = reply(58, 1, "");
    std::string damaged = good;
    damaged[12] = static_cast<char>(damaged[12] + 1);
    const std::pair<std::string, std::string> cases[] = {
        {"wrong-echo@CMD_TALKBACK_STOP", reply(59, 1, "")},
        {"wrong-type@58", message(1, good.substr(13))},
        {"bad-checksum", damaged},
        {"short-payload", good.substr(0, 19)},
        {"short-record", message(0, good.substr(13, 11))},
        {"oversize=17000", reply(58, 1, 0, std::string(17000, '\0'))},
        {"refuse=0", reply(58, 2, "")},
        {"silence", ""},
        {"delay=100@58", good},
        {"close@57", good},
    };
    for (const auto &[fault, expected] : cases) {
        SCOPED_TRACE(fault);
        start("fault nonsense\nfault " + fault + "*1\n");
        const std::string answer = fault + ", 1 to go\n";
        EXPECT_TRUE(wait_until([&] { return read_file(log).ends_with(answer); }));
        send(message(58, ""));
        EXPECT_EQ(to_hex(receive(expected.size())), to_hex(expected));
        send(message(57, ""));
        EXPECT_EQ(receive(13).empty(), fault == "close@57") << "just once";
        EXPECT_EQ(process->stop(), 0);
    }
    EXPECT_NE(read_file(log).find("There is no fault \"nonsense\".\n"), std::string::npos);
}

TEST_F(Simulator, OneForASocket)
{
    start();
    Process second({SYSMNGD_SIM, "--socket", path}, log);
    EXPECT_TRUE(wait_until([&] { return !second.running(); }));
    EXPECT_EQ(second.stop(), 1) << "the socket is taken";
    EXPECT_EQ(process->stop(SIGKILL), 128 + SIGKILL);
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
    start();
    send(message(52, ""));
    EXPECT_TRUE(succeeds(52)) << "in the place of the dead one";
}

} // namespace
