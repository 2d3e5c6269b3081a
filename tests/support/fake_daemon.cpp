#include "tests/support/fake_daemon.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <utility>

#include "tests/support/sockets.h"

namespace {

constexpr uint32_t general_get = 44;

/* Shorter when the stream ended before. A recv of nothing would wait. */
std::string receive(int fd, size_t count)
{
    std::string bytes(count, '\0');
    const ssize_t got = count > 0 ? recv(fd, bytes.data(), count, MSG_WAITALL) : 0;
    bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return bytes;
}

int listen_at(const char *path)
{
    unlink(path);
    const int fd = unix_socket(SOCK_STREAM);
    if (!bind_to(fd, path) || listen(fd, 8) != 0) {
        throw std::runtime_error(std::string(path) + ": " + strerror(errno));
    }
    return fd;
}

} // namespace

FakeDaemon::FakeDaemon() : listener(listen_at(daemon_socket_path))
{
    const std::string software_record = text_field("", 765) + text_field("rel5", 255);
    answer(general_get, {Step::send(reply(general_get, 1, software_record))});
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
    answers[command] = answer;
}

void FakeDaemon::answer_once(uint32_t command, const Answer &answer)
{
    const std::lock_guard lock(mutex);
    once[command].push_back(answer);
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
    const std::string header = receive(fd, 13);
    if (header.size() < 13) return false;
    const std::string payload = receive(fd, u32_at(header, 4) - 13);
    const uint32_t command = u32_at(header, 0);
    const std::lock_guard lock(mutex);
    requests.push_back({command, payload, header + payload});
    for (const Step &step : choose_answer(command)) {
        if (step.hangs_up) return false;
        send(fd, step.bytes.data(), step.bytes.size(), MSG_NOSIGNAL);
        usleep(static_cast<useconds_t>(step.pause_ms) * 1000);
    }
    return true;
}

Answer FakeDaemon::choose_answer(uint32_t command)
{
    std::deque<Answer> &next = once[command];
    if (!next.empty()) {
        const Answer answer = next.front();
        next.pop_front();
        return answer;
    }
    const auto found = answers.find(command);
    return found != answers.end() ? found->second : Answer{Step::send(reply(command, 1, ""))};
}
