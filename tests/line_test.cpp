/* Requests in line for the daemon, with a server that does nothing else. */
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <set>

#include "tests/resources.h"
#include "tests/support/line_sequence.h"

namespace {

struct NoDescriptorLeft {
    const uint32_t open_before = open_descriptors();
    ~NoDescriptorLeft() { EXPECT_EQ(open_descriptors(), open_before); }
};

class Line : public testing::Test, NoDescriptorLeft, protected LineServer {};

/* Each waits the whole time for its own command, and only its own. */
TEST_F(Line, TimesOutOneByOne)
{
    const struct module_statistics before = module_get_statistics();
    const int64_t began_us = clock_us;
    for (int i = 1; i <= 3; ++i) come(path_of(i), i);
    for (size_t i = 1; i <= 3; ++i) {
        module_go_on(); /* for nothing */
        EXPECT_EQ(clients[i - 1].status, 0);
        time_is_up();
        EXPECT_EQ(clients[i - 1].status, 408);
        EXPECT_EQ((clock_us - began_us) / 1000, static_cast<int64_t>(i) * 30000);
    }
    const struct module_statistics now = module_get_statistics();
    EXPECT_EQ(now.commands_sent, before.commands_sent + 3);
    EXPECT_EQ(now.commands_timed_out, before.commands_timed_out + 3);
    EXPECT_EQ(now.commands_failed, before.commands_failed);
    EXPECT_EQ(now.longest_wait_ms, 89995u);
    come("/api/leds");
    the_daemon.sends(reply(get_leds, 0, ""));
    turn_while_there_is_work();
    EXPECT_EQ(module_get_statistics().commands_failed, before.commands_failed + 1)
        << "one that was refused";
}

/* A daemon that takes its time holds up others once: the commands after it leave the thread at
 * once, until one is answered soon. */
TEST_F(Line, WaitsOnTheSpotForADaemonThatIsQuick)
{
    const struct {
        int64_t takes_us;
        bool on_the_spot;
    } cases[] = {{4000, true}, {6000, false}, {6000, false}, {1000, false}, {1000, true}};
    const std::string answer = reply(get_leds, 1, std::string(12, '\0'));
    for (const auto &[takes_us, on_the_spot] : cases) {
        const int64_t began_us = clock_us;
        the_daemon.later = {{takes_us, answer}};
        const Client &client = come("/api/leds");
        EXPECT_EQ(client.status, on_the_spot ? 200 : 0);
        if (on_the_spot) continue;
        the_daemon.later.clear();
        clock_us = began_us + takes_us;
        the_daemon.sends(answer);
        turn_while_there_is_work();
        EXPECT_EQ(client.status, 200);
    }
    come("/api/leds");
    clock_us += 7000000;
    EXPECT_EQ(module_get_statistics().longest_wait_ms, 7000u) << "so far";
    reply_to_last();
}

const std::set<std::string> with_form = {"WRITE", "WRITE_ITEM", "CREATE", "SUBMIT"};

/* They do nothing to the one that waits, whatever its route. */
TEST_F(Line, HoldsUpNobodyWhoNeedsNoDaemon)
{
    for (const auto &route : resources::all_routes()) {
        for (const auto &action : route.actions) {
            SCOPED_TRACE(route.path + " " + std::to_string(action.method));
            const auto ask = [&]() -> Client & {
                return come(route.path, 0, action.method, {{"name=x&id=3"}});
            };
            if (action.kind == "NONE") {
                EXPECT_EQ(ask().request, nullptr);
                continue;
            }
            std::string answers[2];
            for (std::string &answer : answers) {
                clients.clear();
                const Client &client = ask();
                ASSERT_NE(client.request, nullptr);
                EXPECT_EQ(module_needs_body(client.request) != 0, with_form.contains(action.kind));
                for (const auto &[path, method, status] : quick_answers) {
                    if (&answer == &answers[0]) break;
                    const Client &quick = come(path, 0, method);
                    EXPECT_EQ(quick.request, nullptr) << path;
                    EXPECT_EQ(quick.status, status) << path;
                }
                Client &behind = ask();
                EXPECT_TRUE(behind.request && module_is_in_line(behind.request));
                leave(behind);
                const size_t size = action.kind == "SUBMIT" ? 266 : route.size;
                the_daemon.sends(reply(action.command, 1, std::string(size, 'r')));
                turn_while_there_is_work();
                EXPECT_EQ(client.request, nullptr);
                answer = std::to_string(client.status) + client.body;
            }
            EXPECT_EQ(answers[0], answers[1]);
        }
    }
}

TEST_F(Line, GivesWayWhileAnUploadIsCopied)
{
    for (const bool leaves : {false, true}) {
        commands.clear();
        clients.clear();
        Client &client = come("/api/general/firmwareUpgrade", 0, HTTP_METHOD_POST, upload(700000));
        int turns = 0;
        while (commands.empty() && turns < 10 && !(leaves && turns == 1)) turns += turn();
        EXPECT_EQ(turns, leaves ? 1 : 3);
        Client &next = come("/api/leds");
        if (leaves) leave(client);
        turn_while_there_is_work();
        EXPECT_EQ(commands.back().first, leaves ? get_leds : firmware_upgrade);
        if (!leaves) time_is_up();
        EXPECT_EQ(client.status, leaves ? 0 : 408);
        EXPECT_EQ(text_of_uploads().size(), leaves ? 0 : 700000 + strlen("|up.bin:"));
        reply_to_last();
        EXPECT_EQ(next.status, 200);
        unlink("/mnt/data/up.bin"); /* of the first */
    }
}

TEST_F(Line, WaitsOnTheSpotWhereNothingCanBeWatched)
{
    watch.fails = true;
    the_daemon.later = {{29999000, reply(get_leds, 1, std::string(12, '\0'))}};
    EXPECT_EQ(come("/api/leds").status, 200);
    EXPECT_EQ(come("/api/leds").status, 408);
    watch.fails = false;
}

/* The destructor ends what is under way, in line, and answered but not taken. */
TEST_F(Line, EndsWithTheServer)
{
    const Client &uploading =
        come("/api/general/firmwareUpgrade", 0, HTTP_METHOD_POST, upload(700000));
    EXPECT_NE(uploading.request, nullptr);
    leave(clients[0]);
    EXPECT_EQ(text_of_uploads(), "");
    for (int i = 1; i <= 10; ++i) come(path_of(i), i); /* more than are kept for later */
    leave(clients[1]);
}

/* The leak checker sees what a failed start leaves behind. */
TEST(LineStart, GivesEverythingBackWhenACallFails)
{
    const NoDescriptorLeft check;
    for (const auto &[name, made] :
         {std::pair("calloc", 8), {"mmap", 1}, {"socket", 1}, {"syscall", 1}, {"connect", 1}}) {
        for (int nth = 1; nth <= made + 1; ++nth) {
            SCOPED_TRACE(name + std::to_string(nth));
            const FailingCall failing(name, nth);
            void *const state = module_init();
            EXPECT_EQ(state != nullptr, nth > made);
            if (state) module_cleanup(state);
            the_daemon.closes();
        }
    }
}

TEST(LineSequences, ShowNoAnswerToAnotherRequest)
{
    std::mt19937 random(7);
    const NoDescriptorLeft check;
    LineSequence line;
    const char *const wanted = getenv("KELTO_SEQUENCES");
    const int sequences = wanted ? atoi(wanted) : 1000;
    for (int i = 0; i < sequences; ++i) line.run(12, [&](size_t end) { return random() % end; });
    const auto &[answered, by_late_reply, failed, left] = line.requests;
    printf("%d sequences: %d requests answered, %d of them by a late reply, %d failed, %d left\n",
           sequences, answered, by_late_reply, failed, left);
    EXPECT_GT(answered, sequences);
}

} // namespace
