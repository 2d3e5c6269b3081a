/* Random events of requests in line: clients of all kinds come and leave, the daemon answers well
 * or badly, in pieces, late or not at all. Ends the process when a client gets another's answer,
 * the order is lost or anything is left behind. */
#pragma once

#include <functional>
#include <set>

#include "tests/support/line_server.h"

class LineSequence : public LineServer {
public:
    /* One sequence; after it the line is empty and the daemon's link in order. `below` chooses:
     * it returns a number less than its argument. */
    void run(size_t events, const std::function<size_t(size_t)> &below);

    struct {
        int answered, by_late_reply, failed, left;
    } requests = {};

private:
    void make_event();
    void settle(bool well = false);
    std::string bad_reply(const std::string &good);
    void answer_command(bool well = false);
    void let_time_out();
    void come_for_nothing();
    void leave_in_doubt(Client &client);
    void check(const Client &client);
    void check_order();
    void make_slow_event();
    void restart_server();
    void recover();

    std::function<size_t(size_t)> choose;
    int number = 0;
    bool was_slow = false; /* once in a sequence is enough */
    size_t replied = 0;
    std::string late;    /* a reply after its time */
    std::set<int> stray; /* numbers of answers that nobody waits for any more */
};
