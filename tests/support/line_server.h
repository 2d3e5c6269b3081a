/* A server's loop with its clients, and a daemon that answers when it is told to: all that
 * requests in line see of the world. One at a time. */
#pragma once

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "adapter/bridge.h"
#include "server/lighttpd.h"
#include "tests/support/module_host.h"

constexpr uint32_t get_leds = 36, firmware_upgrade = 47;

struct Client {
    std::string path, form;
    int number; /* of the configuration that it asks for, which its answer shows */
    module_request *request = nullptr; /* null: answered, or gone */
    bool woken = false;
    int status = 0; /* 0: not answered */
    std::string body = "";
};

/* What the loop watches, and whether it can. */
struct Watch {
    bool fails, on;
    int fd;
    int64_t end_us;
};
extern Watch watch;
extern std::vector<std::string> log_of_departed; /* lines of requests that have gone */

/* The path of a configuration, and an upload that is copied in pieces. */
std::string path_of(int number);
std::vector<Piece> upload(size_t bytes);

/* Answers that need no daemon. */
struct QuickAnswer {
    const char *path;
    http_method_t method;
    int status;
};
extern const std::vector<QuickAnswer> quick_answers;

class LineServer {
public:
    LineServer() { start(); }
    ~LineServer() { stop(); }
    LineServer(const LineServer &) = delete;
    LineServer &operator=(const LineServer &) = delete;

    void start(); /* with the version "rel5" */
    void stop();  /* whatever is under way or in line */

    Client &come(const std::string &path, int number = 0, http_method_t method = HTTP_METHOD_GET,
                 const std::vector<Piece> &body = {});
    static void leave(Client &client);

    /* One turn of the loop. False when nothing happens. */
    bool turn();
    void turn_while_there_is_work();

    /* Answers the last command: its record begins as the command's payload. */
    void reply_to_last();
    std::string record_of_last() const;
    static std::string good_reply(uint32_t command, const std::string &record);
    void time_is_up();

    std::deque<Client> clients;
    std::vector<std::pair<uint32_t, std::string>> commands; /* that the daemon got, with payloads */

private:
    static void take_answer(Client &client);

    void *state;
};
