/* Serves clients until a signal ends it. */
#pragma once

#include <poll.h>

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "simulator/device.h"
#include "simulator/faults.h"
#include "simulator/listener.h"

struct ServerOptions {
    std::string socket_path = "/tmp/sysmng_web_plugin.socket";
    int verbosity = 0;
    bool control = false; /* faults are typed on standard input */
    bool fast = false;    /* prepared replies: no state, and nothing is printed */
};

class Server {
public:
    /* Throws std::runtime_error with a line for the user. */
    Server(const ServerOptions &options, const Device &device, const FaultList &faults);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    /* Returns after SIGINT or SIGTERM. */
    void run();

private:
    struct Outgoing {
        Bytes bytes;
        Clock::time_point due;
        bool close = false; /* the connection ends behind it */
    };
    struct Connection {
        int fd;
        unsigned number;
        Bytes input;
        std::deque<Outgoing> output;
        size_t sent = 0;    /* bytes of the first in `output` */
        bool ended = false; /* the client sends no more */
        bool closed = false;
    };

    std::vector<pollfd> watched() const;
    int milliseconds_to_next_reply() const;
    void accept_clients();
    void read_control();
    void take_turn(Connection &connection, int events);
    void receive(Connection &connection);
    bool serve(Connection &connection);
    Outgoing respond(const Connection &connection, const Request &request);
    Bytes prepared_reply(const Request &request);
    void send(Connection &connection);
    void drop_closed();

    ServerOptions options_;
    Device device_;
    FaultList faults_;
    int signals_; /* watched before there is a socket file to clean up */
    Listener listener_;
    std::string typed_; /* of a line that is not whole yet */
    std::vector<std::unique_ptr<Connection>> connections_;
    unsigned clients_so_far_ = 0;
    /* By code, tag, length and first bytes of the request. */
    std::map<std::tuple<uint32_t, uint32_t, size_t, Bytes>, Bytes> prepared_;
};
