/* Serves clients until a signal ends it. Each client has a thread of its own, so
 * that a late reply does not hold up the others. */
#pragma once

#include <condition_variable>
#include <mutex>
#include <set>
#include <string>

#include "simulator/daemon.h"
#include "simulator/listener.h"

struct ServerOptions {
    std::string socket_path = "/tmp/sysmng_web_plugin.socket";
    bool control = false; /* lines for the daemon are typed on standard input */
};

class Server {
public:
    /* Throws std::runtime_error with a line for the user. */
    Server(const ServerOptions &options, Daemon &daemon);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    /* Returns after SIGINT or SIGTERM. The service manager is told when it is ready and when it
     * stops, and how many clients there are. */
    void run();

private:
    struct Client {
        int fd;
        unsigned number;
    };

    void report(const std::string &state) const;
    void accept_client();
    void read_control();
    void serve(Client client);
    bool answer_requests(Client client, Bytes &input);
    bool deliver(Client client, const Delivery &delivery);
    int poll_timeout();

    ServerOptions options_;
    std::string typed_; /* of a line that is not whole yet */
    unsigned clients_so_far_ = 0;
    int signals_; /* watched before there is a socket file to clean up */
    Listener listener_;

    std::mutex mutex_; /* guards all below, and what is printed */
    std::condition_variable clients_change_, stop_;
    bool stopping_ = false;
    std::set<int> clients_; /* descriptors */
    Daemon &daemon_;
};
