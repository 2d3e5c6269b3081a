/* The device under test: the real server and the simulated daemon with 100 streams. */
#pragma once

#include <cstddef>
#include <string>

#include "tests/support/process.h"
#include "tests/support/web_server.h"

constexpr const char *daemon_socket = "/tmp/sysmng_web_plugin.socket";

struct Simulator : PrivateDirectory {
    Process process{{SYSMNGD_SIM, "--fast", "--streams", "100"}, path + "/log"};
    Simulator();
};

struct Server : WebServer {
    Server();

    /* Makes a file of the size. Returns the path under which it is served: with the version in it,
     * as all pages have, and as the redirect names it. */
    std::string static_path(size_t size) const;
};

struct Device {
    Simulator simulator;
    Server server;
};
