/* The simulated daemon as its clients see it: a program, spoken to in raw
 * bytes. Offsets and lengths are written out, not taken from the declarations
 * that the simulator shares with the module. */
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

std::string u32(uint32_t value)
{
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
    return bytes;
}

uint32_t u32_at(const std::string &bytes, size_t at)
{
    uint32_t value = 0;
    for (size_t i = 4; i-- > 0;) value = value << 8 | static_cast<uint8_t>(bytes.at(at + i));
    return value;
}

std::string text_at(const std::string &bytes, size_t at)
{
    return bytes.c_str() + at;
}

int byte_sum(const std::string &bytes)
{
    return std::accumulate(bytes.begin(), bytes.end(), 0) & 0xFF;
}

std::string message(uint32_t code, const std::string &payload = "")
{
    std::string header = u32(code) + u32(static_cast<uint32_t>(13 + payload.size())) + u32(~0U);
    return header + static_cast<char>(-byte_sum(header + payload)) + payload;
}

std::string with(std::string record, size_t at, const std::string &bytes)
{
    return record.replace(at, bytes.size(), bytes);
}

/* What a client sends that gives nothing; `numbers` are where the integers lie. */
std::string nothing(size_t size, const std::vector<size_t> &numbers)
{
    std::string record(size, '\0');
    for (const size_t at : numbers) record = with(record, at, u32(~0U));
    return record;
}

const std::string no_stream = nothing(
    1694, {0, 4, 8, 58, 62, 66, 70, 74, 335, 339, 1109, 1160, 1164, 1168, 1172, 1176, 1180});
const std::string no_interface = nothing(481, {0, 4, 8, 120, 170, 220});
const std::string no_video = nothing(33, {0, 7, 11, 17, 21, 25, 29});
const std::string no_sap = nothing(55, {1, 51}), no_configuration = nothing(770, {0});
const std::string no_time = nothing(1335, {47, 1327, 1331}), no_security = nothing(9214, {});

struct Reply {
    uint32_t type, command, result;
    std::string record;
};

class Simulator : public testing::Test {
protected:
    std::string dir = std::filesystem::temp_directory_path() / "simulator_test.XXXXXX";
    std::string path = std::string(mkdtemp(dir.data())) + "/socket";
    pid_t pid = 0;
    int terminal = -1; /* the program's input and output */
    int client = -1;

    ~Simulator() override
    {
        if (pid > 0) {
            EXPECT_EQ(stop(SIGTERM), 0) << "a clean stop";
        }
        EXPECT_FALSE(std::filesystem::exists(path)) << "the socket is removed";
        std::filesystem::remove_all(dir);
    }

    /* Returns the first line that the program prints. */
    std::string launch(Texts arguments = {})
    {
        const char *given = getenv("SYSMNGD_SIM");
        arguments.insert(arguments.begin(), {given ? given : SYSMNGD_SIM, "--socket", path});
        std::vector<char *> argv;
        for (std::string &argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        terminal = ends[0];
        pid = fork();
        if (pid == 0) {
            for (int fd = 0; fd < 3; ++fd) dup2(ends[1], fd);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(ends[1]);
        return read_line();
    }

    void start(const Texts &arguments = {})
    {
        ASSERT_NE(launch(arguments).find("listening on " + path), std::string::npos);
        client = connect_client();
    }

    int stop(int signal)
    {
        int status = -1;
        if (signal) kill(pid, signal);
        waitpid(pid, &status, 0);
        close(terminal);
        close(client);
        pid = client = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string read_line() const
    {
        std::string line;
        for (char c; read(terminal, &c, 1) == 1 && c != '\n';) line += c;
        return line;
    }

    int connect_client() const
    {
        sockaddr_un address = {AF_UNIX, {}};
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const timeval longest_wait = {30, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &longest_wait, sizeof(longest_wait));
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
        return fd;
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

    Reply receive_reply() const
    {
        const std::string header = receive(13), payload = receive(u32_at(header, 4) - 13);
        EXPECT_EQ(byte_sum(header + payload), 0);
        EXPECT_EQ(u32_at(payload, 8), payload.size() - 12);
        return {u32_at(header, 0), u32_at(payload, 0), u32_at(payload, 4), payload.substr(12)};
    }

    Reply run(uint32_t code, const std::string &payload = "") const
    {
        send(message(code, payload));
        const Reply reply = receive_reply();
        EXPECT_EQ(reply.command, code);
        return reply;
    }

    std::string get(uint32_t code) const { return run(code).record; }
    uint32_t changes(size_t counter) const { return u32_at(get(59), counter * 4); }

    /* The parameters that a refusal names. */
    Texts refused(uint32_t code, const std::string &payload) const
    {
        const Reply reply = run(code, payload);
        EXPECT_NE(reply.result, 1U);
        EXPECT_EQ(reply.record.size() % 510, 0U);
        Texts names;
        for (size_t at = 0; at < reply.record.size(); at += 510) {
            EXPECT_NE(text_at(reply.record, at), "");
            names.push_back(text_at(reply.record, at + 255));
        }
        return names;
    }
};

TEST_F(Simulator, answers_every_code_however_requests_are_cut_or_damaged)
{
    const std::map<uint32_t, size_t> sizes = {
        {1, 3 * 1694}, {6, 154},   {8, 33},    {10, 44},   {12, 22},      {14, 29},  {16, 26},
        {18, 1968},    {19, 0},    {20, 0},    {21, 1323}, {22, 4 * 481}, {23, 0},   {24, 55},
        {26, 2 * 80},  {28, 9214}, {31, 0},    {32, 8194}, {33, 1335},    {35, 40},  {36, 12},
        {37, 1},       {39, 1540}, {44, 1020}, {45, 0},    {46, 0},       {48, 263}, {49, 4},
        {52, 518},     {57, 0},    {58, 0},    {59, 32},   {60, 68},      {61, 40}};
    start({"--streams", "3", "--interfaces", "4", "--software", "7.1"});
    for (uint32_t code = 0; code <= 64; ++code) {
        const std::string request = message(code);
        const size_t step = 1 + code % 13;
        for (size_t at = 0; at < request.size(); at += step) send(request.substr(at, step));
        const Reply reply = receive_reply();
        const bool known = sizes.contains(code);
        EXPECT_EQ(reply.type, 0U);
        EXPECT_EQ(reply.command, code);
        EXPECT_EQ(reply.result == 1, known) << code;
        EXPECT_EQ(reply.record.size(), known ? sizes.at(code) : 0) << code;
    }
    EXPECT_EQ(text_at(get(44), 765), "7.1");
    EXPECT_TRUE(get(6) == get(8) + get(10) + get(12) + get(14) + get(16));
    EXPECT_TRUE(get(18).substr(0, 1694) == get(1).substr(0, 1694));

    send(with(message(52), 12, "?") + message(59).substr(0, 5));
    EXPECT_NE(receive_reply().result, 1U) << "a wrong checksum";
    send(message(59).substr(5));
    EXPECT_EQ(receive_reply().command, 59U);
    EXPECT_NE(run(4, u32(1) + u32(2)).result, 1U) << "two identifiers";
    EXPECT_NE(run(9, no_video + "?").result, 1U) << "too long";
    send(with(message(52), 4, u32(12)));
    EXPECT_EQ(receive(1), "") << "an impossible length ends the connection";
}

TEST_F(Simulator, settings_read_back_and_keep_what_is_not_given)
{
    const struct {
        uint32_t get, set;
        std::string nothing;
        size_t at;
        std::string value;
        size_t counter; /* its place among the changes; 0: none */
    } cases[] = {{8, 9, no_video, 11, u32(9), 4},
                 {10, 11, nothing(44, {16, 32, 36, 40}), 6, "\1", 4},
                 {12, 13, nothing(22, {0, 4, 8, 12, 18}), 18, u32(3), 4},
                 {14, 15, nothing(29, {0, 4, 8, 12, 17, 21, 25}), 25, u32(20), 4},
                 {16, 17, nothing(26, {0, 4, 8, 12, 17, 22}), 4, u32(65535), 4},
                 {22, 23, with(no_interface, 0, u32(1)), 12, "10.9.8.7", 5},
                 {24, 25, no_sap, 5, "239.1.2.3", 0},
                 {28, 29, no_security, 510, "new-name", 0},
                 {33, 34, no_time, 561, "Europe/Oslo", 6},
                 {37, 38, nothing(1, {}), 0, "\1", 0}};
    start({"--interfaces", "1"});
    for (const auto &one : cases) {
        const uint32_t before = changes(one.counter);
        const bool is_flag = one.value == "\1";
        EXPECT_EQ(run(one.set, with(one.nothing, one.at, one.value)).result, 1U) << one.set;
        EXPECT_EQ(get(one.get).substr(one.at, one.value.size()), one.value) << one.get;
        EXPECT_EQ(run(one.set, one.nothing).result, 1U) << one.set;
        EXPECT_EQ(get(one.get)[one.at], is_flag ? '\0' : one.value[0]) << one.get;
        EXPECT_EQ(changes(one.counter) - before, one.counter > 0 ? 2U : 0U) << one.set;
    }
    const std::string change = with(no_security, 255, "secret");
    EXPECT_EQ(refused(29, change), Texts{"currentPassword"});
    EXPECT_EQ(run(29, with(with(with(change, 0, "admin"), 765, "\1"), 766, "Hi")).result, 1U);
    EXPECT_EQ(refused(29, with(change, 0, "admin")), Texts{"currentPassword"});
    EXPECT_EQ(get(28).substr(0, 510), std::string(510, '\0')) << "no password is told";
    EXPECT_EQ(text_at(get(32), 0), "\1Hi");
}

TEST_F(Simulator, refuses_wrong_values_by_the_name_of_their_parameter)
{
    const std::string named = with(no_stream, 80, "Camera"), first = with(no_interface, 0, u32(1));
    const struct {
        uint32_t code;
        std::string request;
        Texts parameters;
    } cases[] = {{2, no_stream, {"name"}},
                 {2, with(named, 58, u32(0)), {"port"}},
                 {2, with(with(named, 335, u32(65536)), 66, u32(8192)), {"videoPid", "fecPort1"}},
                 {2, with(named, 12, "239.1.2.300"), {"ipAddress"}},
                 {2, with(named, 1114, "fd00::x"), {"forwardingTargetAddress"}},
                 {3, with(named, 0, u32(99)), {"id"}},
                 {3, named, {"id"}},
                 {17, with(nothing(26, {}), 4, u32(70000)), {"serverPort"}},
                 {23, first + with(first, 58, "255.0.255.0"), {"networkMask[1]"}},
                 {23, first + with(no_interface, 12, "1.2.3"), {"id[1]", "ipAddress[1]"}},
                 {25, with(no_sap, 51, u32(~1U)), {"port"}},
                 {29, with(no_security, 510, "two words"), {"hostname"}},
                 {34, with(no_time, 1, "1.2.3.4.5"), {"ntpServerAddress"}},
                 {34, with(no_time, 1327, u32(24)), {"daylightSavingStartHour"}},
                 {34, with(no_time, 306, "25:00:00"), {"time"}},
                 {40, no_configuration, {"name"}},
                 {41, with(no_configuration, 0, u32(5)), {"id"}}};
    start();
    const std::string before = get(59);
    for (const auto &one : cases) EXPECT_EQ(refused(one.code, one.request), one.parameters);
    for (const uint32_t code : {1U, 4U, 5U, 39U, 42U, 43U}) {
        EXPECT_EQ(refused(code, u32(77) + u32(77)), Texts()) << code;
    }
    EXPECT_EQ(get(59), before) << "nothing has changed";
}

TEST_F(Simulator, a_stream_lives_and_goes)
{
    start({"--streams", "0"});
    EXPECT_EQ(get(1), "");
    EXPECT_NE(run(19).result, 1U) << "nothing to start";

    const std::string cam = with(with(with(no_stream, 80, "Cam"), 58, u32(5000)), 78, "\1");
    const std::string made = run(2, cam).record, id = made.substr(0, 4);
    EXPECT_EQ(made.substr(78, 5), std::string("\1\0Cam", 5));
    EXPECT_EQ(u32_at(made, 58), 5000U);
    EXPECT_TRUE(run(1, id + id).record == made);
    EXPECT_NE(run(2, cam).record.substr(0, 4), id);
    EXPECT_EQ(run(3, with(with(no_stream, 0, id), 12, "::1")).result, 1U);
    EXPECT_TRUE(run(1, id + id).record == with(with(made, 12, "::1"), 78, std::string(1, '\0')));
    EXPECT_EQ(run(5, id + id).result, 1U);
    EXPECT_EQ(run(19).result, 1U);
    EXPECT_EQ(u32_at(run(1, id + id).record, 1176), 1U) << "its status";
    EXPECT_EQ(get(18).substr(0, 4), id);
    EXPECT_EQ(run(4, id + id).result, 1U);
    EXPECT_EQ(get(1).size(), 1694U);
    EXPECT_EQ(u32_at(get(18), 0), ~0U) << "the selected stream is gone";
    EXPECT_EQ(changes(0), 4U) << "two made, one changed, one deleted";

    EXPECT_EQ(text_at(run(40, with(no_configuration, 4, "Mine")).record, 514).size(), 19U)
        << "the date, filled in";
    EXPECT_EQ(run(46).result, 1U);
    EXPECT_EQ(get(39).size(), 2 * 770U) << "as it left the factory";
    EXPECT_EQ(get(1), "");
}

TEST_F(Simulator, the_channel_moves_while_it_runs)
{
    const std::map<uint32_t, size_t> bitrates = {{21, 44}, {60, 0}, {61, 0}};
    start();
    for (const auto &[code, at] : bitrates) {
        const std::string before = get(code);
        EXPECT_NE(u32_at(before, at), 0U);
        int tries = 10000;
        while (--tries > 0 && get(code) == before) usleep(1000);
        EXPECT_GT(tries, 0) << code;
    }
    const uint32_t channel = changes(2), ports = changes(3);
    EXPECT_EQ(run(20).result, 1U);
    EXPECT_EQ(changes(2), channel + 1);
    EXPECT_EQ(changes(3), ports + 1) << "the outputs are dark";
    for (const auto &[code, at] : bitrates) {
        const std::string before = get(code);
        EXPECT_EQ(u32_at(before, at), 0U);
        usleep(20000);
        EXPECT_EQ(get(code), before);
    }
}

TEST_F(Simulator, installs_files)
{
    const std::string good = dir + "/good.bin", bad = dir + "/bad.bin";
    std::ofstream(good) << "firmware";
    std::ofstream(bad) << "BAD firmware";
    const std::string request = std::string(4096, '\0');
    start({"--upgrade-seconds", "1", "--software", "2.4.9"});
    for (const uint32_t code : {30U, 47U}) {
        for (const std::string &file : {bad, dir + "/none", dir, std::string()}) {
            const Reply reply = run(code, with(request, 0, file));
            EXPECT_NE(reply.result, 1U) << file;
            ASSERT_EQ(reply.record.size(), 266U);
            EXPECT_EQ(text_at(reply.record, 0), "ERROR");
            EXPECT_NE(text_at(reply.record, 11), "");
        }
        EXPECT_EQ(run(code, with(request, 0, good)).record.substr(0, 3), std::string("OK\0", 3));
    }
    EXPECT_NE(run(47, with(request, 0, good)).result, 1U) << "one at a time";
    EXPECT_EQ(text_at(get(28), 8959), "good.bin");

    std::map<uint32_t, std::string> stages;
    uint32_t percent = 0;
    for (std::string status = get(48); u32_at(status, 0) == 1; status = get(48)) {
        EXPECT_GE(u32_at(status, 259), percent);
        percent = u32_at(status, 259);
        stages[percent] = text_at(status, 4);
    }
    EXPECT_GT(stages.size(), 1U) << "it moved";
    EXPECT_NE(stages.begin()->second, stages.rbegin()->second);
    EXPECT_EQ(u32_at(get(48), 259), 100U);
    EXPECT_EQ(text_at(get(44), 765), "2.4.10");
    EXPECT_EQ(changes(7), 1U);
}

TEST_F(Simulator, faults_come_when_they_are_called)
{
    const std::string header = u32(0) + u32(25) + u32(~0U), preamble = u32(58) + u32(1) + u32(0);
    const struct {
        std::string fault, head, body; /* what arrives, but for the checksum between them */
        int sum;                       /* of all bytes; -1: it has no meaning */
    } cases[] = {
        {"wrong-echo@CMD_TALKBACK_STOP", header, u32(59) + u32(1) + u32(0), 0},
        {"wrong-type@58", u32(1) + header.substr(4), preamble, 0},
        {"bad-checksum", header, preamble, 1},
        {"short-payload", header, preamble.substr(0, 6), -1},
        {"short-record", with(header, 4, u32(24)), preamble.substr(0, 11), 0},
        {"oversize=17000", with(header, 4, u32(17025)), preamble + std::string(17000, '\0'), 0},
        {"refuse=0", header, u32(58) + u32(2) + u32(0), 0},
        {"silence", "", "", 0},
        {"close@57", header, preamble, 0},
    };
    start({"--control", "-"});
    const auto type = [&](const std::string &line) {
        EXPECT_EQ(write(terminal, (line + "\n").data(), line.size() + 1), ssize_t(line.size() + 1));
        return read_line();
    };
    for (const auto &one : cases) {
        EXPECT_EQ(type("fault " + one.fault + "*1"), one.fault + ", 1 to go");
        send(message(58));
        const std::string head_and_sum = receive(one.head.empty() ? 0 : 13);
        const std::string body = receive(one.body.size());
        EXPECT_EQ(head_and_sum.substr(0, one.head.size()), one.head) << one.fault;
        EXPECT_TRUE(body == one.body) << one.fault;
        EXPECT_EQ(one.sum < 0 ? -1 : byte_sum(head_and_sum + body), one.sum) << one.fault;
        EXPECT_EQ(run(52).result, 1U) << "just once: " << one.fault;
    }
    send(message(57));
    EXPECT_EQ(receive(1), "") << "closed";
    close(client);
    client = connect_client();
    type("fault refuse=3@9");
    EXPECT_EQ(refused(9, no_video), (Texts{"outputResolution", "isPrimarySdi1", "isPrimarySdi2"}));
    EXPECT_NE(type("fault nonsense").find("nonsense"), std::string::npos);
    EXPECT_EQ(type("clear"), "no faults");

    type("fault delay=60000@44");
    send(message(44));
    const int waiting = client;
    client = connect_client();
    EXPECT_EQ(run(52).result, 1U) << "others are not kept waiting";
    char byte;
    EXPECT_EQ(recv(waiting, &byte, 1, MSG_DONTWAIT), -1);
    close(waiting);
}

TEST_F(Simulator, one_daemon_a_socket)
{
    start();
    const pid_t first = pid;
    const int first_terminal = terminal, first_client = client;
    EXPECT_NE(launch().find(path), std::string::npos);
    client = -1;
    EXPECT_EQ(stop(0), 1) << "the socket is taken";
    pid = first;
    terminal = first_terminal;
    client = first_client;
    EXPECT_EQ(run(52).result, 1U);
    EXPECT_EQ(stop(SIGKILL), -1);
    ASSERT_TRUE(std::filesystem::exists(path));
    start();
    EXPECT_EQ(run(52).result, 1U) << "in the place of the dead one";
}

} // namespace
