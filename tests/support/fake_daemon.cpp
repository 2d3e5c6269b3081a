#include "tests/support/fake_daemon.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace {

constexpr size_t header_len = 13;
constexpr uint32_t general_get = 44;

/* False when the stream ended before. */
bool read_exactly(int fd, std::string *into, size_t count)
{
    std::string bytes(count, '\0');
    for (size_t got = 0; got < count;) {
        const ssize_t n = recv(fd, bytes.data() + got, count - got, 0);
        if (n <= 0) return false;
        got += static_cast<size_t>(n);
    }
    *into += bytes;
    return true;
}

void send_all(int fd, const std::string &bytes)
{
    for (size_t sent = 0; sent < bytes.size();) {
        const ssize_t n = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) return;
        sent += static_cast<size_t>(n);
    }
}

std::string software_record(const std::string &software)
{
    return text_field("S1", 255) + text_field("B1", 255) + text_field("H1", 255) +
           text_field(software, 255);
}

int listen_at(const char *path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
    const sockaddr *at = reinterpret_cast<const sockaddr *>(&address);

    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool taken = connect(probe, at, sizeof(address)) == 0;
    close(probe);
    if (taken) throw std::runtime_error(std::string("another daemon listens on ") + path);
    unlink(path);

    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(fd, at, sizeof(address)) != 0 || listen(fd, 8) != 0) {
        throw std::runtime_error(std::string(path) + ": " + strerror(errno));
    }
    return fd;
}

} // namespace

FakeDaemon::FakeDaemon() : listener(listen_at(daemon_socket_path))
{
    answer(general_get, {Step::send(reply(general_get, 1, software_record("rel5")))});
    thread = std::thread(&FakeDaemon::run, this);
}

FakeDaemon::~FakeDaemon()
{
    {
        const std::lock_guard lock(mutex);
        stopping = true;
        shutdown(listener, SHUT_RDWR);
        if (connection >= 0) shutdown(connection, SHUT_RDWR);
    }
    changed.notify_all();
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
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return !busy; });
}

void FakeDaemon::run()
{
    for (;;) {
        const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        {
            const std::lock_guard lock(mutex);
            if (fd >= 0 && !stopping) connection = fd;
        }
        if (fd < 0) return;
        serve(fd);
        const std::lock_guard lock(mutex);
        connection = -1;
        close(fd);
        if (stopping) return;
    }
}

void FakeDaemon::serve(int fd)
{
    for (;;) {
        std::string bytes;
        if (!read_exactly(fd, &bytes, header_len)) return;
        if (!read_exactly(fd, &bytes, u32_at(bytes, 4) - header_len)) return;
        const uint32_t command = u32_at(bytes, 0);
        {
            const std::lock_guard lock(mutex);
            requests.push_back({command, bytes.substr(header_len), bytes});
            busy = true;
        }
        const bool goes_on = carry_out(fd, choose_answer(command));
        {
            const std::lock_guard lock(mutex);
            busy = false;
        }
        changed.notify_all();
        if (!goes_on) return;
    }
}

bool FakeDaemon::carry_out(int fd, const Answer &answer)
{
    for (const Step &step : answer) {
        if (step.hangs_up) return false;
        send_all(fd, step.bytes);
        std::unique_lock lock(mutex);
        const std::chrono::milliseconds pause(step.pause_ms);
        if (changed.wait_for(lock, pause, [this] { return stopping; })) return false;
    }
    return true;
}

Answer FakeDaemon::choose_answer(uint32_t command)
{
    const std::lock_guard lock(mutex);
    std::deque<Answer> &next = once[command];
    if (!next.empty()) {
        Answer answer = next.front();
        next.pop_front();
        return answer;
    }
    const auto found = answers.find(command);
    return found != answers.end() ? found->second : Answer{Step::send(reply(command, 1, ""))};
}
