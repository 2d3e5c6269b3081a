/* Serves clients until a signal ends it: each on a thread of its own, so that a
 * reply that is kept back keeps nobody else waiting. */
#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "simulator/device.h"
#include "simulator/faults.h"
#include "simulator/listener.h"

struct ServerOptions {
    std::string socket_path = "/tmp/sysmng_web_plugin.socket";
    int verbosity = 0;    /* 1: a line for every command; 2: its request's fields, too */
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
    struct Client {
        int fd;
        unsigned number;
    };
    struct Delivery {
        Bytes bytes; /* of a reply; empty: silence */
        std::chrono::milliseconds delay{};
        bool close = false; /* the connection ends, instead of the reply */
    };

    void accept_client();
    void read_control();
    void serve(Client client);
    bool answer_requests(Client client, Bytes &input);
    bool deliver(Client client, const Delivery &delivery);
    Delivery respond(Client client, const Request &request);
    Bytes prepared_reply(const Request &request);
    void trace(Client client, const std::string &what) const;
    void trace(Client client, const Request &request, const Reply &reply,
               const std::vector<Fault> &faults) const;

    ServerOptions options_;
    std::string typed_; /* of a line that is not whole yet */
    unsigned clients_so_far_ = 0;
    int signals_; /* watched before there is a socket file to clean up */
    Listener listener_;

    std::mutex mutex_; /* guards all below, and what is printed */
    std::condition_variable clients_change_, stop_;
    bool stopping_ = false;
    std::set<int> clients_; /* descriptors */
    Device device_;
    FaultList faults_;
    /* By code, tag, length and first bytes of the request. */
    std::map<std::tuple<uint32_t, uint32_t, size_t, Bytes>, Bytes> prepared_;
};
