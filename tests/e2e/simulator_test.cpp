/* The simulated daemon as its clients see it, in raw bytes: offsets and lengths are written out,
 * not taken from the declarations that the simulator shares with the module. */
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <map>
#include <memory>

#include "tests/support/messages.h"
#include "tests/support/process.h"
#include "tests/support/web_server.h"

namespace {

using Texts = std::vector<std::string>;

std::string text_at(const std::string &bytes, size_t at)
{
    return bytes.size() > at ? bytes.c_str() + at : "(nothing)";
}

std::string with(std::string record, size_t at, const std::string &bytes)
{
    return record.replace(at, bytes.size(), bytes);
}

struct Outcome {
    bool done;
    std::string record;
};

class Simulator : public testing::Test {
protected:
    const PrivateDirectory directory;
    const std::string path = directory.path + "/socket", log = directory.path + "/log";
    std::unique_ptr<Process> process;
    int client = -1;

    void start(Texts options = {}, const std::string &input = "/dev/null")
    {
        options.insert(options.begin(), {SYSMNGD_SIM, "--socket", path});
        process = std::make_unique<Process>(options, log, input);
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
        const timeval longest_wait = {30, 0};
        close(client);
        client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &longest_wait, sizeof(longest_wait));
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

    Outcome outcome(uint32_t code) const
    {
        const std::string header = receive(13), payload = receive(u32_at(header, 4) - 13);
        const uint32_t result = u32_at(payload, 4);
        EXPECT_TRUE(header + payload == reply(code, result, payload.substr(12))) << code;
        return {result == 1, payload.substr(12)};
    }

    Outcome run(uint32_t code, const std::string &payload = "") const
    {
        send(message(code, payload));
        return outcome(code);
    }
    std::string get(uint32_t code) const { return run(code).record; }

    void expect_logged(const std::string &text) const
    {
        const auto is_there = [&] { return read_file(log).find(text) != std::string::npos; };
        EXPECT_TRUE(wait_until(is_there)) << text << "\nin " << read_file(log);
    }
};

TEST_F(Simulator, AnswersEveryCommandHoweverItIsCut)
{
    const std::map<uint32_t, size_t> sizes = {
        {1, 3 * 1694}, {6, 154},   {8, 33},    {10, 44},   {12, 22},      {14, 29},  {16, 26},
        {18, 1968},    {19, 0},    {20, 0},    {21, 1323}, {22, 4 * 481}, {23, 0},   {24, 55},
        {26, 2 * 80},  {28, 9214}, {31, 0},    {32, 8194}, {33, 1335},    {35, 40},  {36, 12},
        {37, 1},       {39, 1540}, {44, 1020}, {45, 0},    {46, 0},       {48, 263}, {49, 4},
        {52, 518},     {57, 0},    {58, 0},    {59, 32},   {60, 68},      {61, 40}};
    start({"--streams", "3", "--interfaces", "4", "--software", "7.1"});
    for (uint32_t code = 0; code <= 64; ++code) {
        const size_t cut = 1 + code % 12;
        send(message(code, "").substr(0, cut));
        send(message(code, "").substr(cut));
        const Outcome one = outcome(code);
        EXPECT_EQ(one.done, sizes.contains(code)) << code;
        EXPECT_EQ(one.record.size(), one.done ? sizes.at(code) : 0) << code;
    }
    EXPECT_EQ(text_at(get(44), 765), "7.1");
    EXPECT_TRUE(get(6) == get(8) + get(10) + get(12) + get(14) + get(16));
    EXPECT_FALSE(run(4, u32(1) + u32(2)).done) << "two identifiers";
    EXPECT_FALSE(run(9, get(8) + "?").done) << "too long";
    send(with(message(52, ""), 12, "?"));
    EXPECT_FALSE(outcome(52).done) << "a wrong checksum";
    send(with(message(52, ""), 4, u32(12)));
    EXPECT_EQ(receive(1), "") << "an impossible length ends the connection";
}

TEST_F(Simulator, TakesWhatIsGiven)
{
    start({"-vv", "--streams", "1"});
    const std::string video = get(8), stream = get(1), id = stream.substr(0, 4);
    EXPECT_TRUE(run(9, with(with(video, 0, u32(~0U)), 4, std::string("\0\1\0", 3))).done);
    EXPECT_EQ(get(8), with(video, 4, std::string("\0\1\0", 3)));
    const Outcome refused = run(2, with(with(stream, 58, u32(0)), 80, "Cam"));
    EXPECT_FALSE(refused.done);
    EXPECT_EQ(refused.record.size(), 510U);
    EXPECT_EQ(text_at(refused.record, 255), "port");
    expect_logged("CMD_STREAM_NEW: refused: port: The port must be from 1 to 65535.\n");
    expect_logged("    name = Camdio A main\n");

    EXPECT_TRUE(get(18).substr(0, 1694) == stream) << "it is received";
    EXPECT_NE(u32_at(get(60), 0), 0U) << "its bitrate";
    EXPECT_TRUE(run(4, id + id).done);
    EXPECT_EQ(u32_at(get(18), 0), ~0U);
    EXPECT_EQ(u32_at(get(60), 0), 0U);
    EXPECT_EQ(get(60), get(60)) << "nothing moves";
    EXPECT_FALSE(run(19).done) << "nothing to start";
    EXPECT_EQ(u32_at(run(2, stream).record, 1176), 0U) << "a client cannot set the status";
}

TEST_F(Simulator, InstallsFirmware)
{
    const std::string package = directory.path + "/good.bin";
    write_file(package, "firmware");
    start({"--upgrade-seconds", "1", "--software", "2.4.9"});
    EXPECT_EQ(run(47, text_field(directory.path, 4096)).record.substr(0, 6),
              text_field("ERROR", 6));
    EXPECT_EQ(run(47, text_field(package, 4096)).record.substr(0, 3), text_field("OK", 3));
    EXPECT_FALSE(run(47, text_field(package, 4096)).done) << "one at a time";
    std::map<uint32_t, std::string> stages;
    for (std::string status = get(48); u32_at(status, 0) == 1; status = get(48)) {
        stages[u32_at(status, 259)] = text_at(status, 4);
        EXPECT_EQ(u32_at(status, 259), stages.rbegin()->first) << "no way back";
    }
    ASSERT_GT(stages.size(), 1U) << "it moved";
    EXPECT_NE(stages.begin()->second, stages.rbegin()->second);
    EXPECT_EQ(u32_at(get(48), 259), 100U);
    EXPECT_EQ(text_at(get(44), 765), "2.4.10");
    EXPECT_EQ(u32_at(get(59), 28), 1U) << "the counter of software";
}

TEST_F(Simulator, MakesTheFaultsThatAreTyped)
{
    const std::string good = reply(58, 1, "");
    const std::pair<std::string, std::string> cases[] = {
        {"wrong-echo@CMD_TALKBACK_STOP", reply(59, 1, "")},
        {"wrong-type@58", message(1, good.substr(13))},
        {"bad-checksum", with(good, 12, std::string(1, static_cast<char>(good[12] + 1)))},
        {"short-payload", good.substr(0, 19)},
        {"short-record", message(0, good.substr(13, 11))},
        {"oversize=17000", reply(58, 1, 0, std::string(17000, '\0'))},
        {"refuse=0", reply(58, 2, "")},
        {"silence", ""},
        {"close@57", good},
    };
    const std::string input = directory.path + "/input";
    ASSERT_EQ(mkfifo(input.c_str(), 0600), 0);
    const int terminal = open(input.c_str(), O_RDWR | O_CLOEXEC);
    start({"--control", "-"}, input);
    const auto type = [&](const std::string &line, const std::string &answer) {
        EXPECT_GT(write(terminal, (line + "\n").data(), line.size() + 1), 0);
        expect_logged(answer + "\n");
    };
    for (const auto &[fault, expected] : cases) {
        type("fault " + fault + "*1", fault + ", 1 to go");
        send(message(58, ""));
        EXPECT_EQ(to_hex(receive(expected.size())), to_hex(expected)) << fault;
        EXPECT_TRUE(run(52).done) << "just once: " << fault;
    }
    send(message(57, ""));
    EXPECT_EQ(receive(1), "") << "closed";
    ASSERT_TRUE(connects());
    type("fault nonsense", "There is no fault \"nonsense\".");
    type("fault refuse=3@9", "refuse=3@9");
    EXPECT_EQ(text_at(run(9, get(8)).record, 2 * 510 + 255), "isPrimarySdi2");
    type("clear", "no faults");
    type("fault delay=60000@44", "delay=60000@44");
    send(message(44, ""));
    const int waiting = std::exchange(client, -1);
    ASSERT_TRUE(connects());
    EXPECT_TRUE(run(52).done) << "others are not kept waiting";
    char byte;
    EXPECT_EQ(recv(waiting, &byte, 1, MSG_DONTWAIT), -1);
    close(waiting);
    close(terminal);
}

TEST_F(Simulator, AnswersFastWithoutState)
{
    start({"--fast"});
    const std::string before = get(8);
    EXPECT_TRUE(run(9, with(before, 11, u32(9))).done);
    EXPECT_EQ(get(8), before);
    for (const uint32_t id : {2U, 3U}) EXPECT_EQ(u32_at(run(1, u32(id) + u32(id)).record, 0), id);
}

TEST_F(Simulator, OneForASocket)
{
    start();
    Process second({SYSMNGD_SIM, "--socket", path}, log);
    EXPECT_TRUE(wait_until([&] { return !second.running(); }));
    EXPECT_EQ(second.stop(), 1) << "the socket is taken";
    EXPECT_TRUE(run(52).done);
    EXPECT_EQ(process->stop(SIGKILL), 128 + SIGKILL);
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
    start();
    EXPECT_TRUE(run(52).done) << "in the place of the dead one";
}

} // namespace
