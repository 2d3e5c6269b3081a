/* The device under test: the real server and the simulated daemon with 100 streams. */
#pragma once

#include <cstddef>
#include <string>

#include "tests/support/process.h"
#include "tests/support/web_server.h"

constexpr const char *daemon_socket = "/tmp/sysmng_web_plugin.socket";

struct Device {
    struct Simulator : PrivateDirectory {
        Process process{{SYSMNGD_SIM, "--fast", "--streams", "100"}, path + "/log"};
        Simulator();
    } simulator;
    WebServer server{WebServer::default_config() +
                     "server.max-keep-alive-requests = 65000\n"
                     "server.stat-cache-engine = \"disable\"\n" /* a file costs an open */
                     "server.max-keep-alive-idle = 60\n"};

    /* Makes a file of the size. Returns the path under which it is served: with the version in it,
     * as all pages have, and as the redirect names it. */
    std::string static_path(size_t size) const;
};
