#include "simulator/server.h"

#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>

#include "simulator/answers.h"
#include "simulator/commands.h"
#include "simulator/trace.h"

namespace {

constexpr size_t most_connections = 256;

/* For a client that doesn't read its replies, no further ones are made. */
constexpr size_t most_waiting_replies = 16;

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

bool would_block()
{
    return errno == EAGAIN || errno == EINTR;
}

} // namespace

Server::Server(const ServerOptions &options, const Device &device, const FaultList &faults)
    : options_(options),
      device_(device),
      faults_(faults),
      signals_(watch_signals()),
      listener_(options.socket_path)
{
}

Server::~Server()
{
    for (const auto &connection : connections_) close(connection->fd);
    close(signals_);
}

void Server::run()
{
    for (;;) {
        std::vector<pollfd> fds = watched();
        if (poll(fds.data(), fds.size(), milliseconds_to_next_reply()) < 0) continue;
        if (fds[0].revents) return;
        for (size_t i = 0; i < connections_.size(); ++i) {
            take_turn(*connections_[i], fds[3 + i].revents);
        }
        drop_closed();
        if (fds[1].revents) accept_clients();
        if (fds[2].revents) read_control();
    }
}

/* Signals, new clients, control, then the connections in their order. */
std::vector<pollfd> Server::watched() const
{
    const bool has_room = connections_.size() < most_connections;
    std::vector<pollfd> fds = {{signals_, POLLIN, 0},
                               {has_room ? listener_.fd() : -1, POLLIN, 0},
                               {options_.control ? STDIN_FILENO : -1, POLLIN, 0}};
    const Clock::time_point now = Clock::now();
    for (const auto &connection : connections_) {
        const auto &output = connection->output;
        const bool reads = !connection->ended && output.size() < most_waiting_replies;
        const bool writes = !output.empty() && output.front().due <= now;
        const int events = (reads ? POLLIN : 0) | (writes ? POLLOUT : 0);
        fds.push_back({connection->fd, static_cast<short>(events), 0});
    }
    return fds;
}

int Server::milliseconds_to_next_reply() const
{
    using std::chrono::milliseconds;
    milliseconds wait = std::chrono::hours(1);
    for (const auto &connection : connections_) {
        if (connection->output.empty()) continue;
        const Clock::duration left = connection->output.front().due - Clock::now();
        wait = std::min(wait, std::chrono::ceil<milliseconds>(left));
    }
    return static_cast<int>(std::max<milliseconds::rep>(wait.count(), 0));
}

void Server::accept_clients()
{
    while (connections_.size() < most_connections) {
        const int fd = listener_.accept_client();
        if (fd < 0) return;
        connections_.push_back(std::make_unique<Connection>());
        connections_.back()->fd = fd;
        connections_.back()->number = ++clients_so_far_;
        trace_client(options_.verbosity, clients_so_far_, "connected");
    }
}

void Server::read_control()
{
    char bytes[1024];
    const ssize_t got = read(STDIN_FILENO, bytes, sizeof(bytes));
    if (got <= 0) {
        options_.control = got < 0 && would_block();
        return;
    }
    typed_.append(bytes, static_cast<size_t>(got));
    for (size_t end; (end = typed_.find('\n')) != std::string::npos;) {
        printf("%s", faults_.control(typed_.substr(0, end)).c_str());
        typed_.erase(0, end + 1);
    }
}

void Server::take_turn(Connection &connection, int events)
{
    if (events & POLLIN) receive(connection);
    bool more;
    do {
        more = serve(connection);
        send(connection);
    } while (more && !connection.closed && connection.output.empty());
    const bool gone = (events & (POLLERR | POLLHUP)) && !(events & POLLIN);
    const bool finished = connection.ended && connection.output.empty();
    if (gone || finished) connection.closed = true;
}

void Server::receive(Connection &connection)
{
    uint8_t bytes[65536];
    const ssize_t got = recv(connection.fd, bytes, sizeof(bytes), 0);
    if (got > 0) {
        connection.input.insert(connection.input.end(), bytes, bytes + got);
    } else if (got == 0 || !would_block()) {
        connection.ended = true;
    }
}

/* Answers the requests that have arrived whole. False when no more are there;
 * true when too many replies are waiting to go on. */
bool Server::serve(Connection &connection)
{
    while (connection.output.size() < most_waiting_replies) {
        Request request;
        switch (next_request(connection.input, request)) {
            case Arrival::Incomplete: return false;
            case Arrival::Whole: connection.output.push_back(respond(connection, request)); break;
            case Arrival::Damaged: {
                const Reply reply = failure(RESULT_DAMAGED_REQUEST, "its checksum is wrong");
                trace_exchange(options_.verbosity, connection.number, request, reply, {});
                connection.output.push_back({encode(message_of(request, reply)), {}});
                break;
            }
            case Arrival::Senseless:
                trace_client(options_.verbosity, connection.number,
                             "closed, its request has an impossible length");
                connection.closed = true;
                return false;
        }
    }
    return true;
}

Server::Outgoing Server::respond(const Connection &connection, const Request &request)
{
    if (options_.fast && faults_.empty()) return {prepared_reply(request), {}};

    const std::vector<Fault> faults = faults_.take(request.code);
    const std::optional<Reply> refused = requested_refusal(faults, request.code);
    const Reply reply = refused ? *refused : answer(device_, request);
    trace_exchange(options_.verbosity, connection.number, request, reply, faults);

    Delivery delivery;
    delivery.message = message_of(request, reply);
    bend(delivery, faults);
    const bool is_sent = !delivery.silent && !delivery.close;
    return {is_sent ? encode(delivery.message) : Bytes(), Clock::now() + delivery.delay,
            delivery.close};
}

/* What the untouched device answers to the first request of the kind: with the
 * same identifiers, and as long. A refusal concerns its request alone, and is
 * not kept. */
Bytes Server::prepared_reply(const Request &request)
{
    const Bytes &payload = request.payload;
    const size_t shown = std::min<size_t>(payload.size(), id_request_size);
    const auto kind = std::make_tuple(request.code, request.tag, payload.size(),
                                      Bytes(payload.data(), payload.data() + shown));
    const auto known = prepared_.find(kind);
    if (known != prepared_.end()) return known->second;
    Device device = device_;
    const Reply reply = answer(device, request);
    const Bytes message = encode(message_of(request, reply));
    if (reply.result == RESULT_SUCCESS) prepared_[kind] = message;
    return message;
}

void Server::send(Connection &connection)
{
    auto &output = connection.output;
    while (!connection.closed && !output.empty() && output.front().due <= Clock::now()) {
        const Outgoing &first = output.front();
        const uint8_t *rest = first.bytes.data() + connection.sent;
        const size_t left = first.bytes.size() - connection.sent;
        const ssize_t sent = left > 0 ? ::send(connection.fd, rest, left, MSG_NOSIGNAL) : 0;
        if (sent < 0) {
            connection.closed = !would_block();
            return;
        }
        connection.sent += static_cast<size_t>(sent);
        if (connection.sent < first.bytes.size()) return;
        connection.closed = first.close;
        connection.sent = 0;
        output.pop_front();
    }
}

void Server::drop_closed()
{
    std::erase_if(connections_, [&](const std::unique_ptr<Connection> &connection) {
        if (!connection->closed) return false;
        close(connection->fd);
        trace_client(options_.verbosity, connection->number, "gone");
        return true;
    });
}
