/* The simulated daemon as its clients see it, in raw bytes: nothing here is
 * taken from the declarations that the simulator shares with the module. */
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <regex>
#include <sstream>

#include "tests/support/messages.h"
#include "tests/support/process.h"
#include "tests/support/sockets.h"
#include "tests/support/table.h"
#include "tests/support/web_server.h"

namespace {

using Texts = std::vector<std::string>;

class Simulator : public testing::Test {
protected:
    const PrivateDirectory directory;
    const std::string path = directory.path + "/socket", log = directory.path + "/log";
    const std::string input = directory.path + "/input", file = directory.path + "/file";
    std::optional<Process> process;
    int client = -1;

    /* Its input are these lines. */
    void start(const std::string &lines = "", const Texts &options = {})
    {
        Texts args = {SYSMNGD_SIM, "--socket", path, "--control", "-"};
        args.insert(args.end(), options.begin(), options.end());
        write_file(input, lines);
        process.emplace(args, log, input);
        ASSERT_TRUE(wait_until([this] { return connects(); })) << read_file(log);
    }

    /* Runs it with an option that keeps it from starting; returns what it says. */
    std::string refuse_to_start(const std::string &option, const std::string &value)
    {
        const std::string said = directory.path + "/refusal";
        std::filesystem::remove(said);
        Process started({SYSMNGD_SIM, "--socket", path, option, value}, said);
        EXPECT_TRUE(wait_until([&] { return !started.running(); }));
        EXPECT_EQ(started.stop(), 2);
        return read_file(said);
    }

    /* How often its log has a text. */
    size_t count(const std::string &text) const
    {
        const std::string all = read_file(log);
        size_t found = 0;
        for (size_t at = 0; (at = all.find(text, at)) != std::string::npos; ++at) ++found;
        return found;
    }

    void TearDown() override
    {
        EXPECT_EQ(process ? process->stop() : 0, 0) << read_file(log);
        EXPECT_NE(access(path.c_str(), F_OK), 0) << "the socket is left behind";
        close(client);
    }

    bool connects()
    {
        close(client);
        client = unix_socket(SOCK_STREAM);
        return connect_to(client, path);
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

    /* The result and the record of a reply to the command. */
    std::pair<uint32_t, std::string> receive_reply(uint32_t code) const
    {
        const std::string header = receive(13), payload = receive(u32_at(header, 4) - 13);
        const uint32_t result = u32_at(payload, 4);
        const std::string record = payload.substr(12);
        EXPECT_TRUE(header + payload == reply(code, result, record)) << code;
        return {result, record};
    }
    bool succeeds(uint32_t code) const { return receive_reply(code).first == 1; }

    std::pair<uint32_t, std::string> ask(uint32_t code, const std::string &payload = "") const
    {
        send(message(code, payload));
        return receive_reply(code);
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
        EXPECT_EQ(receive(expected.size()), expected);
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

/* Of words: 5 or 0x40000000 is 4 bytes, \0001 is 2; what is in quotes has a NUL behind it. */
std::string bytes_of(const std::string &cell)
{
    std::string bytes;
    std::istringstream words(cell);
    for (std::string word; words >> word;) {
        if (word[0] == '"')
            return bytes + cell.substr(cell.find('"') + 1, cell.rfind('"') - cell.find('"') - 1) +
                   '\0';
        for (size_t i = 1; word[0] == '\\' && i < word.size(); i += 2)
            bytes += static_cast<char>(std::stoi(word.substr(i, 2), nullptr, 16));
        if (word[0] != '\\') bytes += u32(static_cast<uint32_t>(std::stoll(word, nullptr, 0)));
    }
    return bytes;
}

/* The lines of effects.txt, and what each has changed. */
TEST_F(Simulator, DoesWhatALineSaysFromAFileAndTyped)
{
    const std::vector<Row> effects = table("simulator/effects.txt", 5);
    std::string lines;
    for (const Row &effect : effects) lines += effect[0] + "\n";
    for (const bool typed : {false, true}) {
        write_file(file, typed ? "" : "# a comment\n\n" + lines);
        start(typed ? lines : "", {"--speed", "1000", "--scenario", file});
        for (const Row &effect : effects) {
            SCOPED_TRACE(effect[0] + (typed ? ", typed" : ""));
            const auto code = static_cast<uint32_t>(std::stoul(effect[1]));
            const std::string bytes = bytes_of(effect[4]);
            std::string record;
            EXPECT_TRUE(wait_until([&] {
                record = ask(code, bytes_of(effect[2])).second;
                return record.substr(std::min(record.size(), std::stoul(effect[3])))
                    .starts_with(bytes);
            })) << testing::PrintToString(record);
        }
        usleep(30000);
        EXPECT_EQ(u32_at(ask(59).second, 4), 10U) << "no more from then on";
        EXPECT_EQ(process->stop(), 0);
    }
}

/* Each line is wrong; what is said of it is in another file. */
TEST_F(Simulator, DoesNotStartWithAFileThatIsWrong)
{
    for (const auto &[option, name] :
         {std::pair("--scenario", "/wrong.scenario"), {"--replay", "/wrong.recording"}}) {
        const std::string wrong = SIMULATOR_FILES + std::string(name);
        const std::regex place("sysmngd-sim: .*" + std::string(name) + ":");
        EXPECT_EQ(std::regex_replace(refuse_to_start(option, wrong), place, ""),
                  read_file(wrong + ".said"));
    }
    write_file(file, "");
    EXPECT_EQ(refuse_to_start("--record", file),
              "sysmngd-sim: " + file + ": it is there already, and is not written over\n");
}

/* All that the example scenarios do is carried out, over and over. */
TEST_F(Simulator, RunsTheExampleScenarios)
{
    const struct {
        std::string name, last; /* a part of the line that ends it */
        size_t times;
        bool has_refusal; /* the one that belongs to it */
    } cases[] = {
        {"degrading-link", "release channel_info: done", 4, false},
        {"failing-upgrade", "release uptime: done", 1, false},
        {"busy-control-room", "192.168.2.20: done", 2, true},
    };
    for (const auto &[name, last, times, has_refusal] : cases) {
        SCOPED_TRACE(name);
        start("", {"-v", "--speed", "500", "--scenario", KELTO_DEMO "/scenarios/" + name});
        EXPECT_TRUE(wait_until([&, last = last, times = times] { return count(last) >= times; }));
        EXPECT_EQ(process->stop(), 0);
        const size_t expected = count("CMD_STREAM_DEL 4711: refused: There is no");
        EXPECT_EQ(count("refused"), expected) << read_file(log);
        EXPECT_EQ(expected > 0, has_refusal);
        unlink(log.c_str());
    }
}

/* Status, stage and percentage. */
TEST_F(Simulator, LetsAnUpgradeFail)
{
    const std::string failed = u32(3) + text_field("Failed: Writing the new software", 255);
    start("fault upgrade-fails=42*1\nfault upgrade-fails*1\n", {"--speed", "1000"});
    EXPECT_TRUE(wait_until([&] { return count("upgrade-fails, 1 to go\n") == 1; }));
    for (const std::string &end :
         {failed + u32(42), failed + u32(60), u32(2) + text_field("Finished", 255) + u32(100)}) {
        EXPECT_EQ(ask(47, text_field(input, 4096)).first, 1U);
        EXPECT_TRUE(wait_until([&] { return ask(48).second == end; }))
            << testing::PrintToString(ask(48).second);
    }
    EXPECT_EQ(u32_at(ask(59).second, 28), 1U) << "the software has changed once";
}

/* What is recorded, without the lines that tell the time. */
std::string recorded(const std::string &file)
{
    return std::regex_replace(read_file(file), std::regex("# [0-9.]+ s, client 1\n"), "");
}

TEST_F(Simulator, AnswersFromARecordedSession)
{
    const std::string name = text_field("x \"y\" \\\n\1", 255), nothing = text_field("", 510);
    const std::pair<uint32_t, std::string> requests[] = {
        {37, ""},
        {38, std::string(1, '\0')},
        {37, ""},
        {4, u32(99) + u32(99)},
        {41, u32(1) + name + nothing + "\1"},
        {25, std::string(1, '\0') + u32(0xFFFFFFFF) + text_field("", 46) + u32(0)},
        {53, "?\xff"},
    };
    start("", {"--record", file});
    std::vector<std::pair<uint32_t, std::string>> replies;
    for (const auto &[code, request] : requests) replies.push_back(ask(code, request));
    EXPECT_EQ(process->stop(), 0);
    EXPECT_EQ(recorded(file), read_file(SIMULATOR_FILES "/recorded"));

    write_file(file, std::regex_replace(read_file(file), std::regex("from 1"), "from 7"));
    start("", {"--replay", file});
    replies[5].second.replace(replies[5].second.find("from 1"), 6, "from 7");
    for (size_t i = 0; i < std::size(requests); ++i)
        EXPECT_EQ(ask(requests[i].first, requests[i].second), replies[i]) << i;
    EXPECT_EQ(ask(37), replies[2]) << "the last one stays";

    const std::string reason = text_field("This request is not in the recording.", 255);
    EXPECT_EQ(ask(52), std::pair(2U, reason + text_field("", 255)));
    EXPECT_EQ(ask(38, "\1"), std::pair(2U, reason + text_field("discovery", 255)));
    EXPECT_TRUE(
        read_file(log).ends_with("replay: this is not in the recording:\nrequest CMD_UPTIME_GET\n"
                                 "replay: this is not in the recording:\nrequest "
                                 "CMD_SERVICES_SET\n  record\n    discovery = true\n"));
}

} // namespace
