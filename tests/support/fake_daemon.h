/* A scripted management daemon on its socket, in a thread of the test. */
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/messages.h"

constexpr const char *daemon_socket_path = "/tmp/sysmng_web_plugin.socket";

/* One thing that the daemon does for a request. */
struct Step {
    std::string bytes;
    int pause_ms = 0;
    bool hangs_up = false;

    static Step send(const std::string &bytes) { return {bytes}; }
    static Step pause(int milliseconds) { return {"", milliseconds}; }
    static Step hang_up() { return {"", 0, true}; }
};
using Answer = std::vector<Step>; /* none: silence */

struct Request {
    uint32_t command;
    std::string payload;
};

/* Its clients end before it does. */
class FakeDaemon {
public:
    /* Listens. Throws std::runtime_error when it can't. */
    FakeDaemon();
    ~FakeDaemon();

    /* What it answers to a command, always or the next time only. Without this it sends the
     * software version "rel5", and reports success without a record for everything else. */
    void answer(uint32_t command, const Answer &answer);
    void answer_once(uint32_t command, const Answer &answer);

    /* The requests that came since the last call. */
    std::vector<Request> take_requests();

    /* Waits until it has done all that it has to do for the requests that came. */
    void wait_until_idle();

private:
    void run();
    bool serve(int fd);
    std::deque<Answer> &answers_to(uint32_t command);

    int listener;
    std::mutex mutex; /* guards all below; held while a request is answered */
    std::vector<Request> requests;
    std::map<uint32_t, std::deque<Answer>> answers; /* the last of each stays */
    std::thread thread;                             /* last: it uses the others */
};
