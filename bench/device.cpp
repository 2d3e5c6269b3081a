#include "bench/device.h"

#include <filesystem>

#include "tests/support/http.h"

Simulator::Simulator()
{
    wait_until([] { return std::filesystem::exists(daemon_socket); });
}

Server::Server()
    : WebServer(default_config() +
                "server.max-keep-alive-requests = 65000\n"
                "server.stat-cache-engine = \"disable\"\n" /* so a file costs an open */
                "server.max-keep-alive-idle = 60\n")
{
}

std::string Server::static_path(size_t size) const
{
    const std::string name = "/file-" + std::to_string(size);
    write_file(root() + "/www" + name, std::string(size, 'x'));
    const std::string location = HttpClient{port()}.get(name).header("location");
    return location.substr(location.find("/v"));
}
