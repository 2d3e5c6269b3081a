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

#include "simulator/commands.h"
#include "simulator/format.h"
#include "simulator/rules.h"

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

std::string outcome(const Reply &reply)
{
    if (reply.result != RESULT_SUCCESS) return "refused: " + printable(reply.reason);
    return reply.record.empty() ? "done" : format("done, %zu bytes", reply.record.size());
}

void print_fields(const Request &request, const Record &record)
{
    const size_t count = request.payload.size() / record.size;
    for (size_t i = 0; i < count; ++i) {
        const RecordBytes given = record_at(record, request.payload, i * record.size);
        const int index = count > 1 ? static_cast<int>(i) : no_request_index;
        for (const Leaf &leaf : leaves(record)) {
            printf("    %s = %s\n", form_parameter(leaf.key, index).c_str(),
                   printable(get_text(given, leaf.key)).c_str());
        }
    }
}

} // namespace

Server::Server(const ServerOptions &options, const Device &device, const FaultList &faults)
    : options_(options),
      signals_(watch_signals()),
      listener_(options.socket_path),
      device_(device),
      faults_(faults)
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
    pollfd fds[] = {{signals_, POLLIN, 0}, {listener_.fd(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    for (;;) {
        if (!options_.control) fds[2].fd = -1;
        if (poll(fds, std::size(fds), -1) < 0) continue;
        if (fds[0].revents) return;
        if (fds[1].revents) accept_client();
        if (fds[2].revents) read_control();
    }
}

void Server::accept_client()
{
    const Client client = {listener_.accept_client(), clients_so_far_ + 1};
    if (client.fd < 0) return;
    ++clients_so_far_;
    const std::lock_guard lock(mutex_);
    trace(client, "connected");
    std::thread(&Server::serve, this, client).detach(); /* the destructor waits for it */
    clients_.insert(client.fd);
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
        printf("%s", faults_.control(typed_.substr(0, end)).c_str());
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
    trace(client, "gone");
    close(client.fd);
    clients_.erase(client.fd);
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
                trace(client, "closed, its request has an impossible length");
                return false;
        }
        if (!deliver(client, respond(client, request))) return false;
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

Server::Delivery Server::respond(Client client, const Request &request)
{
    const std::lock_guard lock(mutex_);
    if (options_.fast && faults_.empty()) return {prepared_reply(request)};

    const std::vector<Fault> faults = faults_.take(request.code);
    const std::optional<Reply> refused = requested_refusal(faults, request.code);
    const Reply reply = refused ? *refused : answer(device_, request);
    trace(client, request, reply, faults);
    ReplyMessage message = message_of(request, reply);
    bend(message, faults);
    const bool is_sent = !message.silent && !message.close;
    return {is_sent ? encode(message) : Bytes(), message.delay, message.close};
}

/* What the untouched device answers to the first request of the kind: with the
 * same identifiers, and as long. A refusal concerns its request alone, and is
 * not kept. */
Bytes Server::prepared_reply(const Request &request)
{
    const Bytes &payload = request.payload;
    const size_t shown = std::min<size_t>(payload.size(), 8);
    const auto kind = std::make_tuple(request.code, request.tag, payload.size(),
                                      Bytes(payload.data(), payload.data() + shown));
    const auto known = prepared_.find(kind);
    if (known != prepared_.end()) return known->second;
    Device device = device_;
    const Reply reply = answer(device, request);
    Bytes message = encode(message_of(request, reply));
    if (reply.result == RESULT_SUCCESS) prepared_[kind] = message;
    return message;
}

void Server::trace(Client client, const std::string &what) const
{
    if (options_.verbosity > 0) printf("client %u: %s\n", client.number, what.c_str());
}

void Server::trace(Client client, const Request &request, const Reply &reply,
                   const std::vector<Fault> &faults) const
{
    if (options_.verbosity == 0) return;
    const Record *record = request_record(request.code);
    const std::optional<int32_t> id = requested_id(request);
    std::string line = command_name(request.code);
    if (id && !record) line += format(" %d", *id);
    line += ": " + outcome(reply);
    for (const Fault &fault : faults) line += format(" [fault %s]", fault.text.c_str());
    trace(client, line);
    if (options_.verbosity > 1 && record) print_fields(request, *record);
}
