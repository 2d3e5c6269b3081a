#include "bench/device.h"

#include <filesystem>

#include "tests/support/http.h"

Device::Simulator::Simulator()
{
    wait_until([] { return std::filesystem::exists(daemon_socket); });
}

std::string Device::static_path(size_t size) const
{
    const std::string name = "/file-" + std::to_string(size);
    write_file(server.root() + "/www" + name, std::string(size, 'x'));
    const std::string location = HttpClient{server.port()}.get(name).header("location");
    return location.substr(location.find("/v"));
}
