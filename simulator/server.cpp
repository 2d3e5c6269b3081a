#include "simulator/server.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "simulator/format.h"
#include "simulator/service_manager.h"

namespace {

/* SIGINT and SIGTERM wake poll from now on, and kill nothing. */
int watch_signals()
{
    sigset_t stopping;
    sigemptyset(&stopping);
    sigaddset(&stopping, SIGINT);
    sigaddset(&stopping, SIGTERM);
    sigprocmask(SIG_BLOCK, &stopping, nullptr);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGTTIN, SIG_IGN); /* no stop for reading a terminal in the background */
    const int fd = signalfd(-1, &stopping, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd < 0) throw std::runtime_error(strerror(errno));
    return fd;
}

} // namespace

Server::Server(const ServerOptions &options, Daemon &daemon)
    : options_(options), signals_(watch_signals()), listener_(options.socket_path), daemon_(daemon)
{
}

Server::~Server()
{
    std::unique_lock lock(mutex_);
    stopping_ = true;
    stop_.notify_all();
    for (const int fd : clients_) shutdown(fd, SHUT_RDWR);
    clients_change_.wait(lock, [this] { return clients_.empty(); });
    close(signals_);
}

void Server::run()
{
    report("READY=1\n");
    pollfd fds[] = {{signals_, POLLIN, 0}, {listener_.fd(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    for (;;) {
        if (!options_.control) fds[2].fd = -1;
        const int ready = poll(fds, std::size(fds), poll_timeout());
        if (ready > 0 && fds[0].revents) {
            tell_service_manager("STOPPING=1");
            return;
        }
        if (ready > 0 && fds[1].revents) accept_client();
        if (ready > 0 && fds[2].revents) read_control();
        const std::lock_guard lock(mutex_);
        daemon_.run_due_steps();
    }
}

/* What "systemctl status" shows, behind another line. To be called with the
 * mutex held, or while there are no clients. */
void Server::report(const std::string &state) const
{
    const size_t count = clients_.size();
    tell_service_manager(state + format("STATUS=Listening on %s, %zu client%s connected",
                                        options_.socket_path.c_str(), count,
                                        count == 1 ? "" : "s"));
}

/* In milliseconds, up to the daemon's next step; -1 when there is none. */
int Server::poll_timeout()
{
    using std::chrono::milliseconds;
    constexpr milliseconds longest = std::chrono::hours(1);
    const std::lock_guard lock(mutex_);
    const std::optional<Clock::duration> left = daemon_.until_next_step();
    if (!left) return -1;
    return static_cast<int>(std::min(std::chrono::ceil<milliseconds>(*left), longest).count());
}

void Server::accept_client()
{
    const Client client = {listener_.accept_client(), clients_so_far_ + 1};
    if (client.fd < 0) return;
    ++clients_so_far_;
    const std::lock_guard lock(mutex_);
    daemon_.trace(client.number, "connected");
    std::thread(&Server::serve, this, client).detach(); /* the destructor waits for it */
    clients_.insert(client.fd);
    report("");
}

void Server::read_control()
{
    char bytes[1024];
    const ssize_t got = read(STDIN_FILENO, bytes, sizeof(bytes));
    if (got <= 0) {
        options_.control = got < 0 && (errno == EAGAIN || errno == EINTR);
        return;
    }
    typed_.append(bytes, static_cast<size_t>(got));
    const std::lock_guard lock(mutex_);
    for (size_t end; (end = typed_.find('\n')) != std::string::npos;) {
        printf("%s", daemon_.control(typed_.substr(0, end)).c_str());
        typed_.erase(0, end + 1);
    }
}

void Server::serve(Client client)
{
    Bytes input;
    uint8_t bytes[65536];
    for (ssize_t got; (got = recv(client.fd, bytes, sizeof(bytes), 0)) > 0;) {
        input.insert(input.end(), bytes, bytes + got);
        if (!answer_requests(client, input)) break;
    }
    const std::lock_guard lock(mutex_);
    daemon_.trace(client.number, "gone");
    close(client.fd);
    clients_.erase(client.fd);
    if (!stopping_) report("");
    clients_change_.notify_all();
}

/* Those that have arrived whole. False when the connection is over. */
bool Server::answer_requests(Client client, Bytes &input)
{
    for (;;) {
        Request request;
        switch (next_request(input, request)) {
            case Arrival::Incomplete: return true;
            case Arrival::Whole: break;
            case Arrival::Senseless:
                const std::lock_guard lock(mutex_);
                daemon_.trace(client.number, "closed, its request has an impossible length");
                return false;
        }
        std::unique_lock lock(mutex_);
        const Delivery delivery = daemon_.respond(client.number, request);
        lock.unlock();
        if (!deliver(client, delivery)) return false;
    }
}

bool Server::deliver(Client client, const Delivery &delivery)
{
    if (delivery.delay.count() > 0) {
        std::unique_lock lock(mutex_);
        stop_.wait_for(lock, delivery.delay, [this] { return stopping_; });
    }
    const Bytes &bytes = delivery.bytes;
    for (size_t sent = 0; sent < bytes.size();) {
        const ssize_t n = send(client.fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n < 0) return false;
        sent += static_cast<size_t>(n);
    }
    return !delivery.close;
}
