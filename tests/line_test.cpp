/* Requests in line for the daemon, with a server that does nothing else. */
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <utility>

#include "adapter/bridge.h"
#include "server/lighttpd.h"
#include "tests/resources.h"
#include "tests/support/calls.h"
#include "tests/support/messages.h"
#include "tests/support/module_host.h"

namespace {

constexpr uint32_t get_leds = 36, firmware_upgrade = 47;
constexpr int64_t half_a_minute_us = 30000000;

struct Client {
    std::string path, form;
    int number;
    module_request *request = nullptr; /* null: answered, or gone */
    bool woken = false;
    int status = 0; /* 0: not answered */
    std::string body = "";
};

struct {
    bool on;
    int fd;
    int64_t end_us;
} watch;

bool watch_fails;

std::vector<std::string> log_of_departed;

/* The server's loop and the clients, and a daemon that answers when it is told to. */
class Line : public testing::Test {
protected:
    Line()
    {
        the_daemon.on_message = [](const std::string &) {
            the_daemon.sends(reply(44, 1, text_field("", 765) + text_field("rel5", 255)));
        };
        descriptors = open_descriptors();
        state = module_init();
        come("/views");
        turn_while_there_is_work();
        clients.clear();
        the_daemon.on_message = [this](const std::string &bytes) {
            commands.push_back({u32_at(bytes, 0), bytes.substr(13)});
            if (bytes.size() == 21) asked_for.push_back(u32_at(bytes, 13));
        };
    }

    ~Line() override
    {
        module_cleanup(state);
        EXPECT_EQ(module_get_statistics().requests_waiting, 0u) << "not ended";
        unlink("/mnt/data/up.bin");
        the_daemon.closes();
        the_daemon = {};
        EXPECT_EQ(open_descriptors(), descriptors);
    }

    Client &come(const std::string &path, int number = 0, http_method_t method = HTTP_METHOD_GET,
                 const std::vector<Piece> &body = {})
    {
        clients.push_back(std::make_unique<Client>(Client{path, "", number}));
        Client &client = *clients.back();
        module_request *m =
            module_request_new(&client, method, {client.path.data(), client.path.size()});
        client.request = m;
        add_body(client, body);
        if (module_handle(m)) take_answer(client);
        return client;
    }

    static void add_body(Client &client, const std::vector<Piece> &body)
    {
        if (body.size() > 1) {
            constexpr std::string_view name = "Content-Type";
            constexpr std::string_view type = "multipart/form-data; boundary=b";
            module_add_request_header(client.request, {name.data(), name.size()},
                                      {type.data(), type.size()});
        }
        int64_t length = 0;
        for (const Piece &piece : body) {
            length += static_cast<int64_t>(piece.bytes.size());
            if (piece.kind == Piece::MEMORY) {
                client.form = piece.bytes;
                module_append_memory(client.request, {client.form.data(), client.form.size()}, 0);
                continue;
            }
            const int fd = memfd_create("body", 0);
            require(write(fd, piece.bytes.data(), piece.bytes.size()) ==
                        static_cast<ssize_t>(piece.bytes.size()),
                    "a file");
            module_append_file(client.request, {"", 0}, static_cast<int64_t>(piece.bytes.size()),
                               fd);
        }
        module_set_body_length(client.request, length);
    }

    static void take_answer(Client &client)
    {
        client.status = module_answer(client.request).status;
        leave(client);
    }

    static void leave(Client &client)
    {
        module_request_free(std::exchange(client.request, nullptr));
    }

    /* One turn of the server's loop. False when nothing happens. */
    bool turn()
    {
        bool did = false;
        pollfd daemon = {watch.fd, POLLIN, 0};
        if (watch.on && (clock_us >= watch.end_us || poll(&daemon, 1, 0) > 0)) {
            module_go_on();
            did = true;
        }
        for (const auto &client : clients) {
            if (!client->woken || !client->request) continue;
            EXPECT_TRUE(module_is_answered(client->request));
            take_answer(*client);
            did = true;
        }
        return did;
    }
    void turn_while_there_is_work()
    {
        for (int i = 0; i < 1000 && turn(); ++i) {
        }
    }

    void reply_to_last(uint32_t result = 1)
    {
        const auto &[command, payload] = commands.back();
        const std::string record = payload.substr(0, 4) + std::string(766, '\0');
        the_daemon.sends(
            reply(command, result, command == get_leds ? record.substr(0, 12) : record));
        turn_while_there_is_work();
    }

    void time_is_up()
    {
        clock_us = watch.end_us;
        turn_while_there_is_work();
    }

    static void expect_own_answer(const Client &client)
    {
        EXPECT_EQ(client.status, client.number ? 200 : client.status);
        const std::string own = "\"id\" : \"" + std::to_string(client.number) + "\"";
        EXPECT_NE(client.body.find(client.number ? own : ""), std::string::npos)
            << client.path << " got " << client.body;
    }

    uint64_t descriptors;
    void *state;
    std::vector<std::unique_ptr<Client>> clients;
    std::vector<std::pair<uint32_t, std::string>> commands;
    std::vector<uint32_t> asked_for; /* numbers, in the order in which the daemon got them */
};

std::string path_of(int number)
{
    return "/api/configuration/" + std::to_string(number);
}

/* Each waits the whole time for its own command, and only its own. */
TEST_F(Line, TimesOutOneByOne)
{
    const struct module_statistics before = module_get_statistics();
    const int64_t began_us = clock_us;
    for (int i = 1; i <= 3; ++i) come(path_of(i), i);
    for (size_t i = 1; i <= 3; ++i) {
        time_is_up();
        EXPECT_EQ(clients[i - 1]->status, 408);
        EXPECT_EQ((clock_us - began_us) / 1000, static_cast<int64_t>(i) * 30000);
    }
    const struct module_statistics now = module_get_statistics();
    EXPECT_EQ(now.commands_sent, before.commands_sent + 3);
    EXPECT_EQ(now.commands_timed_out, before.commands_timed_out + 3);
    EXPECT_EQ(now.commands_failed, before.commands_failed);
    EXPECT_EQ(now.longest_wait_ms, 89995u);
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

TEST_F(Line, ForgetsClientsThatLeave)
{
    for (int i = 1; i <= 4; ++i) come(path_of(i), i);
    leave(*clients[0]); /* its command is under way */
    leave(*clients[2]);
    log_of_departed.clear();
    reply_to_last();
    EXPECT_EQ(log_of_departed.back(), "Will return SUCCESS ");
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_EQ(u32_at(commands.back().second, 0), 2u);
    reply_to_last();
    expect_own_answer(*clients[1]);
    EXPECT_EQ(u32_at(commands.back().second, 0), 4u);
    leave(*clients[3]);
    reply_to_last();
    EXPECT_EQ(commands.size(), 3u);
    EXPECT_EQ(module_get_statistics().requests_waiting, 0u);
    come(path_of(5), 5);
    reply_to_last();
    expect_own_answer(*clients[4]);
}

/* What a request needs is true of what its handler does. */
TEST_F(Line, KnowsWhatEveryRouteNeeds)
{
    for (const auto &route : resources::routes) {
        for (const auto &action : route.actions) {
            SCOPED_TRACE(std::string(route.path) + " " + std::to_string(action.method));
            commands.clear();
            clients.clear();
            const bool sends = action.kind != resources::NONE;
            const bool reads_form =
                action.kind == resources::WRITE || action.kind == resources::WRITE_ITEM ||
                action.kind == resources::CREATE || action.kind == resources::SUBMIT;
            const Client &client = come(route.path, 0, action.method, {{"name=x"}});
            EXPECT_EQ(commands.size(), sends ? 1u : 0u);
            EXPECT_EQ(client.request && module_needs_body(client.request), reads_form);
            const Client &behind = come(route.path, 0, action.method, {{"name=x"}});
            EXPECT_EQ(behind.status == 0 && behind.request, sends);
            EXPECT_EQ(behind.request && module_is_in_line(behind.request), sends);
            for (int i = 0; i < 2 && sends; ++i) time_is_up();
            EXPECT_TRUE(!client.request && !behind.request);
        }
    }
}

/* Answers that need no daemon come at once. */
const struct {
    const char *path;
    http_method_t method;
    int status;
} quick_ones[] = {
    {"/api/uidLed", HTTP_METHOD_GET, 0},    {"/index.html", HTTP_METHOD_GET, 307},
    {"/vrel5/x.html", HTTP_METHOD_GET, 0},  {"/vrel4/x.html", HTTP_METHOD_GET, 307},
    {"/api/uptime", HTTP_METHOD_PUT, 405},  {"/api/login", HTTP_METHOD_GET, 0},
    {"/api/logout", HTTP_METHOD_POST, 200}, {"/api/decoder", HTTP_METHOD_PUT, 0},
};

/* They do nothing to the one that waits. */
TEST_F(Line, HoldsUpNobodyWhoNeedsNoDaemon)
{
    for (const auto &route : resources::routes) {
        for (const auto &action : route.actions) {
            if (action.kind == resources::NONE) continue;
            SCOPED_TRACE(std::string(route.path) + " " + std::to_string(action.method));
            std::string answers[2];
            for (std::string &answer : answers) {
                clients.clear();
                Client &client = come(route.path, 0, action.method, {{"name=x&id=3"}});
                ASSERT_NE(client.request, nullptr);
                for (const auto &[path, method, status] : quick_ones) {
                    if (&answer == &answers[0]) break;
                    const Client &quick = come(path, 0, method);
                    EXPECT_EQ(quick.request, nullptr) << path;
                    EXPECT_EQ(quick.status, status) << path;
                }
                const size_t size = action.kind == resources::SUBMIT ? 266 : route.size;
                the_daemon.sends(reply(action.command, 1, std::string(size, 'r')));
                turn_while_there_is_work();
                EXPECT_EQ(client.request, nullptr);
                answer = std::to_string(client.status) + client.body;
            }
            EXPECT_EQ(answers[0], answers[1]);
        }
    }
}

const std::string upload_head =
    "--b\r\nContent-Disposition: form-data; name=\"packageName\"; "
    "filename=\"up.bin\"\r\n\r\n";

std::vector<Piece> upload(size_t bytes)
{
    return {{upload_head + std::string(bytes, 'u'), Piece::OPEN_FILE}, {"\r\n--b--\r\n"}};
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
    watch_fails = true;
    the_daemon.later = {{half_a_minute_us - 1000, reply(get_leds, 1, std::string(12, '\0'))}};
    EXPECT_EQ(come("/api/leds").status, 200);
    EXPECT_EQ(come("/api/leds").status, 408);
    watch_fails = false;
}

/* The destructor ends what is under way, in line, and answered but not taken. */
TEST_F(Line, EndsWithTheServer)
{
    const Client &uploading =
        come("/api/general/firmwareUpgrade", 0, HTTP_METHOD_POST, upload(700000));
    EXPECT_NE(uploading.request, nullptr);
    leave(*clients[0]);
    EXPECT_EQ(text_of_uploads(), "");
    come(path_of(1), 1);
    leave(*clients[1]);
}

/* One that waits for the rest of the reply before, and would then wait for its own. */
TEST_F(Line, EndsWithTheServerWhereTwoWaitsAreAhead)
{
    come(path_of(1), 1);
    the_daemon.sends(reply(39, 1, std::string(770, '\0')).substr(0, 100));
    turn_while_there_is_work();
    time_is_up();
    EXPECT_EQ(clients[0]->status, 404);
    come(path_of(2), 2);
    EXPECT_EQ(commands.size(), 1u);
    leave(*clients[1]);
}

class LineSequences : public Line {
protected:
    void step()
    {
        Client *some = clients.empty() ? nullptr : clients[random() % clients.size()].get();
        switch (random() % 12) {
            case 0:
            case 1:
            case 2: ++number, come(path_of(number), number); break;
            case 3:
            case 4: come_for_nothing(); break;
            case 5:
                if (some && some->request) leave_in_doubt(*some);
                break;
            case 6:
                if (watch.on && random() % 4 == 0) let_time_out();
                break;
            case 7: module_go_on(); break; /* for nothing */
            case 8:
                if (random() % 20 == 0) {
                    come("/api/general/firmwareUpgrade", 0, HTTP_METHOD_POST, upload(300000));
                }
                break;
            default: answer_command(); break;
        }
        if (random() % 2) turn();
    }

    /* While late replies are about, it may take one, and leave its own to the next. */
    void leave_in_doubt(Client &client)
    {
        if (!stray.empty()) stray.insert(static_cast<uint32_t>(client.number));
        leave(client);
    }

    void come_for_nothing()
    {
        const auto &[path, method, status] = quick_ones[random() % std::size(quick_ones)];
        const Client &quick = come(path, 0, method);
        EXPECT_EQ(quick.request, nullptr) << path;
        EXPECT_EQ(quick.status, status) << path;
    }

    /* Its reply may still come, and be taken for that of the next command. */
    void let_time_out()
    {
        clock_us = watch.end_us;
        if (replied == commands.size()) return;
        replied = commands.size();
        late = reply(commands.back().first, 1, record_of_last());
        stray.insert(u32_at(record_of_last(), 0));
    }

    std::string record_of_last() const
    {
        return commands.back().second.substr(0, 4) + std::string(766, '\0');
    }

    /* Once, well or badly, in one or two pieces, and in time. */
    void answer_command(bool well = false)
    {
        if (replied == commands.size() || !watch.on || watch.fd < 0) return;
        replied = commands.size();
        if (random() % 2) the_daemon.sends(std::exchange(late, ""));
        const uint32_t command = commands.back().first;
        const std::string record = record_of_last();
        const std::string good =
            reply(command, 1, command == get_leds ? record.substr(0, 12) : record);
        if (!well && random() % 3 == 0) {
            const std::vector<OddReply> odd = odd_replies(command, record);
            const OddReply &chosen = odd[random() % odd.size()];
            if (chosen.effect == OddReply::SURPLUS) stray.insert(u32_at(record, 0));
            return the_daemon.sends(chosen.bytes);
        }
        const size_t cut = random() % good.size();
        the_daemon.sends(good.substr(0, cut));
        turn();
        the_daemon.sends(good.substr(cut));
    }

    void settle(bool well = false)
    {
        for (int i = 0; i < 1000 && module_get_statistics().requests_waiting > 0; ++i) {
            turn_while_there_is_work();
            answer_command(well);
            turn_while_there_is_work();
            if (watch.on && replied == commands.size()) clock_us = watch.end_us;
        }
        turn_while_there_is_work();
    }

    /* Its own answer, or a late one: then its own is still to come. */
    void expect_answer(const Client &client)
    {
        const size_t at = client.body.find(" : \"");
        const uint32_t shown = static_cast<uint32_t>(atoi(client.body.c_str() + at + 4));
        if (shown == static_cast<uint32_t>(client.number)) return;
        EXPECT_EQ(stray.count(shown), 1u) << client.path << " got " << client.body;
        stray.insert(static_cast<uint32_t>(client.number));
        ++late_taken;
    }

    /* With a good daemon, and commands of two kinds, all is well again. */
    void recover()
    {
        clients.clear();
        the_daemon.sends(std::exchange(late, ""));
        come("/api/leds");
        settle(true);
        ++number;
        come(path_of(number), number);
        settle(true);
        expect_own_answer(*clients.back());
        clients.clear();
        stray.clear();
    }

    std::mt19937 random{7};
    int number = 0, late_taken = 0;
    size_t replied = 0;
    std::string late;
    std::set<uint32_t> stray; /* numbers of answers that nobody waits for any more */
};

TEST_F(LineSequences, ShowNoAnswerToAnotherRequest)
{
    const int sequences = sequences_to_try() / 10; /* each has many turns */
    int answered = 0, failed = 0, left = 0;
    for (int i = 0; i < sequences && !HasFailure(); ++i) {
        SCOPED_TRACE("sequence " + std::to_string(i));
        for (int steps = 0; steps < 12; ++steps) step();
        settle();
        EXPECT_EQ(module_get_statistics().requests_waiting, 0u);
        EXPECT_FALSE(watch.on);
        for (const auto &client : clients) {
            EXPECT_EQ(client->request, nullptr) << "has no answer";
            if (!client->number) continue;
            (client->status == 200 ? answered : client->status ? failed : left) += 1;
            if (client->status == 200) expect_answer(*client);
        }
        recover();
        EXPECT_TRUE(std::is_sorted(asked_for.begin(), asked_for.end())) << "out of order";
        asked_for.clear();
    }
    printf("%d sequences: %d requests answered, %d of them by a late reply, %d failed, %d left\n",
           sequences, answered, late_taken, failed, left);
    EXPECT_GT(answered, sequences);
}

} // namespace

void server_set_header(void *, stock_text, stock_text) {}

void server_append_body(void *request, stock_text bytes)
{
    static_cast<Client *>(request)->body.assign(bytes.data, bytes.length);
}

void server_write_log(void *request, const char *, unsigned, const char *text)
{
    if (!request) log_of_departed.push_back(text);
}

void server_wake(void *request)
{
    static_cast<Client *>(request)->woken = true;
}

int server_watch(int fd, int64_t microseconds)
{
    if (watch_fails) return 0;
    watch = {true, fd, clock_us + microseconds};
    return 1;
}

void server_unwatch()
{
    watch.on = false;
}
