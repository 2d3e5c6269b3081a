#include "tests/support/fake_daemon.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <utility>

#include "tests/support/sockets.h"

FakeDaemon::FakeDaemon() : listener(unix_socket(SOCK_STREAM))
{
    unlink(daemon_socket_path);
    if (!bind_to(listener, daemon_socket_path) || listen(listener, 8) != 0)
        throw std::runtime_error(std::string(daemon_socket_path) + ": " + strerror(errno));
    answer(44, {Step::send(version_reply("rel5"))});
    thread = std::thread(&FakeDaemon::run, this);
}

FakeDaemon::~FakeDaemon()
{
    shutdown(listener, SHUT_RDWR);
    thread.join();
    close(listener);
    unlink(daemon_socket_path);
}

void FakeDaemon::answer(uint32_t command, const Answer &answer)
{
    const std::lock_guard lock(mutex);
    answers_to(command).back() = answer;
}

void FakeDaemon::answer_once(uint32_t command, const Answer &answer)
{
    const std::lock_guard lock(mutex);
    std::deque<Answer> &next = answers_to(command);
    next.insert(next.end() - 1, answer);
}

std::vector<Request> FakeDaemon::take_requests()
{
    const std::lock_guard lock(mutex);
    return std::exchange(requests, {});
}

void FakeDaemon::wait_until_idle()
{
    const std::lock_guard lock(mutex);
}

void FakeDaemon::run()
{
    for (int fd; (fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(fd)) {
        while (serve(fd)) {
        }
    }
}

bool FakeDaemon::serve(int fd)
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

std::deque<Answer> &FakeDaemon::answers_to(uint32_t command)
{
    const Answer success = {Step::send(reply(command, 1, ""))};
    return answers.try_emplace(command, 1, success).first->second;
}
