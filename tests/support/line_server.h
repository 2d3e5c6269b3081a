/* A server's loop with its clients, and a daemon that answers when it is told to: all that
 * requests in line see of the world. One at a time. */
#pragma once

#include <sys/ioctl.h>
#include <unistd.h>

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
    LineServer(LineServer &&) = delete;

    /* With the version "rel5". */
    void start()
    {
        watch = {};
        the_daemon.on_message = [](const std::string &) {
            the_daemon.sends(version_reply("rel5"));
        };
        state = module_init();
        come("/views");
        turn_while_there_is_work();
        clients.clear();
        the_daemon.on_message = [this](const std::string &bytes) {
            commands.push_back({u32_at(bytes, 0), bytes.substr(13)});
        };
    }

    /* Whatever is under way or in line. */
    void stop()
    {
        for (Client &client : clients) {
            if (client.request && client.woken) leave(client);
            client.request = nullptr; /* the others are ended by the module */
        }
        module_cleanup(state);
        require(module_get_statistics().requests_waiting == 0, "every request has ended");
        unlink("/mnt/data/up.bin");
        the_daemon.closes();
        the_daemon = {};
    }

    Client &come(const std::string &path, int number = 0, http_method_t method = HTTP_METHOD_GET,
                 const std::vector<Piece> &body = {});

    static void leave(Client &client)
    {
        module_request_free(std::exchange(client.request, nullptr));
    }

    /* One turn of the loop. False when nothing happens. */
    bool turn()
    {
        bool did = false;
        int pending = 0;
        if (watch.on && watch.fd >= 0) ioctl(watch.fd, FIONREAD, &pending);
        if (watch.on && (clock_us >= watch.end_us || pending > 0)) {
            module_go_on();
            did = true;
        }
        for (Client &client : clients) {
            if (!client.woken || !client.request) continue;
            require(module_is_answered(client.request) != 0, "who is woken has an answer");
            take_answer(client);
            did = true;
        }
        return did;
    }

    void turn_while_there_is_work()
    {
        for (int i = 0; i < 1000 && turn(); ++i) {
        }
    }

    /* Answers the last command: its record begins as the command's payload. */
    void reply_to_last()
    {
        the_daemon.sends(good_reply(commands.back().first, record_of_last()));
        turn_while_there_is_work();
    }

    std::string record_of_last() const
    {
        return commands.back().second.substr(0, 4) + std::string(766, '\0');
    }

    static std::string good_reply(uint32_t command, const std::string &record)
    {
        return reply(command, 1, command == get_leds ? record.substr(0, 12) : record);
    }

    void time_is_up()
    {
        clock_us = watch.end_us;
        turn_while_there_is_work();
    }

    std::deque<Client> clients;
    std::vector<std::pair<uint32_t, std::string>> commands; /* that the daemon got, with payloads */

private:
    static void take_answer(Client &client)
    {
        client.status = module_answer(client.request).status;
        leave(client);
    }

    void *state;
};
