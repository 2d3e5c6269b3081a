/* A scripted management daemon on its socket, in a thread of the test. */
#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/messages.h"
#include "tests/support/sockets.h"

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
    FakeDaemon() : listener(unix_socket(SOCK_STREAM))
    {
        unlink(daemon_socket_path);
        if (!bind_to(listener, daemon_socket_path) || listen(listener, 8) != 0)
            throw std::runtime_error(std::string(daemon_socket_path) + ": " + strerror(errno));
        answer(44, {Step::send(version_reply("rel5"))});
        thread = std::thread(&FakeDaemon::run, this);
    }

    ~FakeDaemon()
    {
        shutdown(listener, SHUT_RDWR);
        thread.join();
        close(listener);
        unlink(daemon_socket_path);
    }

    /* What it answers to a command, always or the next time only. Without this it sends the
     * software version "rel5", and reports success without a record for everything else. */
    void answer(uint32_t command, const Answer &answer)
    {
        const std::lock_guard lock(mutex);
        answers_to(command).back() = answer;
    }

    void answer_once(uint32_t command, const Answer &answer)
    {
        const std::lock_guard lock(mutex);
        std::deque<Answer> &next = answers_to(command);
        next.insert(next.end() - 1, answer);
    }

    /* The requests that came since the last call. */
    std::vector<Request> take_requests()
    {
        const std::lock_guard lock(mutex);
        return std::exchange(requests, {});
    }

    /* Waits until it has done all that it has to do for the requests that came. */
    void wait_until_idle() { const std::lock_guard lock(mutex); }

private:
    void run()
    {
        for (int fd; (fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(fd)) {
            while (serve(fd)) {
            }
        }
    }

    bool serve(int fd)
    {
        std::string bytes(13, '\0');
        if (recv(fd, bytes.data(), 13, MSG_WAITALL) != 13) return false;
        bytes.resize(u32_at(bytes, 4));
        if (bytes.size() > 13) recv(fd, &bytes[13], bytes.size() - 13, MSG_WAITALL);
        const uint32_t command = u32_at(bytes, 0);
        const std::lock_guard lock(mutex);
        requests.push_back({command, bytes.substr(13)});
        std::deque<Answer> &next = answers_to(command);
        const Answer answer = next.front();
        if (next.size() > 1) next.pop_front();
        for (const Step &step : answer) {
            if (step.hangs_up) return false;
            send(fd, step.bytes.data(), step.bytes.size(), MSG_NOSIGNAL);
            usleep(static_cast<useconds_t>(step.pause_ms) * 1000);
        }
        return true;
    }

    std::deque<Answer> &answers_to(uint32_t command)
    {
        const Answer success = {Step::send(reply(command, 1, ""))};
        return answers.try_emplace(command, 1, success).first->second;
    }

    int listener;
    std::mutex mutex; /* guards all below; held while a request is answered */
    std::vector<Request> requests;
    std::map<uint32_t, std::deque<Answer>> answers; /* the last of each stays */
    std::thread thread;                             /* last: it uses the others */
};
