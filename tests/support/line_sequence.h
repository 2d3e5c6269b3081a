/* Random events of requests in line: clients of all kinds come and leave, the daemon answers well
 * or badly, in pieces, late or not at all. Ends the process when a client gets another's answer,
 * the order is lost or anything is left behind. */
#pragma once

#include <cstdlib>
#include <functional>
#include <set>

#include "tests/support/line_server.h"

class LineSequence : public LineServer {
public:
    /* One sequence; after it the line is empty and the daemon's link in order. `below` chooses:
     * it returns a number less than its argument. */
    void run(size_t events, const std::function<size_t(size_t)> &below)
    {
        choose = below;
        was_slow = false;
        for (size_t i = 0; i < events; ++i) make_event();
        settle();
        require(module_get_statistics().requests_waiting == 0 && !watch.on, "the line is empty");
        for (const Client &client : clients) {
            require(client.request == nullptr, "everybody is answered");
            if (client.number != 0) check(client);
        }
        recover();
        check_order();
    }

    struct {
        int answered, by_late_reply, failed, left;
    } requests = {};

private:
    void make_event()
    {
        Client *some = clients.empty() ? nullptr : &clients[choose(clients.size())];
        switch (choose(12)) {
            case 0:
            case 1:
            case 2: ++number, come(path_of(number), number); break;
            case 3:
            case 4: come_for_nothing(); break;
            case 5:
                if (some && some->request) leave_in_doubt(*some);
                break;
            case 6:
                if (watch.on && choose(4) == 0) let_time_out();
                break;
            case 7: module_go_on(); break; /* for nothing */
            case 8:
                if (!was_slow && choose(10) == 0) make_slow_event();
                break;
            default: answer_command(); break;
        }
        if (choose(2)) turn();
    }

    /* While late replies are about, it may take one, and leave its own to the next. */
    void leave_in_doubt(Client &client)
    {
        if (!stray.empty()) stray.insert(client.number);
        leave(client);
    }

    void come_for_nothing()
    {
        const auto &[path, method, status] = quick_answers[choose(quick_answers.size())];
        const Client &quick = come(path, 0, method);
        require(!quick.request && quick.status == status,
                "what needs no daemon is answered at once");
    }

    /* Its reply may still come, and be taken for that of the next command. */
    void let_time_out()
    {
        clock_us = watch.end_us;
        if (replied == commands.size()) return;
        replied = commands.size();
        late = reply(commands.back().first, 1, record_of_last());
        stray.insert(static_cast<int>(u32_at(record_of_last(), 0)));
    }

    std::string bad_reply(const std::string &good)
    {
        switch (choose(6)) {
            case 0: stray.insert(static_cast<int>(u32_at(record_of_last(), 0))); return good + good;
            case 1: return reply(commands.back().first, 0, "");
            case 2: return reply(commands.back().first + 100, 1, record_of_last());
            case 3: return message(7, good.substr(13));
            case 4: return good.substr(0, good.size() - 1) + "?"; /* its checksum is wrong */
            default: return good.substr(0, choose(good.size()));
        }
    }

    /* Once, well or badly, in one or two pieces, and in time. */
    void answer_command(bool well = false)
    {
        if (replied == commands.size() || !watch.on || watch.fd < 0) return;
        replied = commands.size();
        if (choose(2)) the_daemon.sends(std::exchange(late, ""));
        const std::string good = good_reply(commands.back().first, record_of_last());
        const std::string bytes = !well && choose(3) == 2 ? bad_reply(good) : good;
        const size_t cut = choose(bytes.size() + 1);
        the_daemon.sends(bytes.substr(0, cut));
        turn();
        the_daemon.sends(bytes.substr(cut));
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
    void check(const Client &client)
    {
        if (client.status != 200) {
            ++(client.status ? requests.failed : requests.left);
            return;
        }
        ++requests.answered;
        const std::string before = "\"id\" : \"";
        const size_t at = client.body.find(before);
        require(at != std::string::npos, "an answer has a number");
        const int shown = atoi(client.body.c_str() + at + before.size());
        if (shown == client.number) return;
        require(stray.count(shown) == 1, "an answer is to its own request");
        stray.insert(client.number);
        ++requests.by_late_reply;
    }

    /* Commands reach the daemon in the order in which their clients came. */
    void check_order()
    {
        uint32_t last = 0;
        for (const auto &[command, payload] : std::exchange(commands, {})) {
            if (payload.size() != 8) continue; /* without a number */
            require(u32_at(payload, 0) >= last, "commands go out in order");
            last = u32_at(payload, 0);
        }
        replied = 0;
    }

    void make_slow_event()
    {
        was_slow = true;
        if (choose(2)) return restart_server();
        come("/api/general/firmwareUpgrade", 0, HTTP_METHOD_POST, package);
    }

    void restart_server()
    {
        check_order();
        stop();
        start();
        late.clear();
        stray.clear();
    }

    /* With a good daemon, and commands of two kinds, all is well again. */
    void recover()
    {
        clients.clear();
        the_daemon.sends(std::exchange(late, ""));
        come("/api/leds");
        settle(true);
        ++number;
        const Client &client = come(path_of(number), number);
        settle(true);
        stray.clear();
        log_of_departed.clear();
        require(client.status == 200, "all is well again");
        check(client);
        clients.clear();
    }

    const std::vector<Piece> package = upload(300000); /* copied in two pieces */
    std::function<size_t(size_t)> choose;
    int number = 0;
    bool was_slow = false; /* once in a sequence is enough */
    size_t replied = 0;
    std::string late;    /* a reply after its time */
    std::set<int> stray; /* numbers of answers that nobody waits for any more */
};
