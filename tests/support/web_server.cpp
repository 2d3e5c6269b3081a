#include "tests/support/web_server.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "tests/support/sockets.h"

namespace fs = std::filesystem;

namespace {

std::string environment(const char *name, const std::string &otherwise)
{
    const char *value = getenv(name);
    return value && *value ? value : otherwise;
}

ServerUnderTest find_server()
{
    const std::string program = environment("KELTO_LIGHTTPD", "/usr/sbin/lighttpd");
    const bool stock = system((program + " -v | grep -q lighttpd/1.4.51").c_str()) == 0;
    const std::string built = std::string(KELTO_MODULES) + (stock ? "/1.4.51" : "/current");
    return {program, environment("KELTO_LIGHTTPD_MODULES", "/usr/lib/lighttpd"),
            environment("KELTO_MODULE", built + "/mod_kelto_sysmgmt.so"), stock};
}

bool accepts_connections(int port)
{
    const int fd = connect_to(port);
    if (fd >= 0) close(fd);
    return fd >= 0;
}

/* The server takes one module directory: links to its own modules and to the one under test. */
void link_modules(const std::string &directory)
{
    const ServerUnderTest &server = server_under_test();
    fs::create_directory(directory);
    for (const fs::directory_entry &entry : fs::directory_iterator(server.own_modules)) {
        fs::create_symlink(fs::absolute(entry.path()), directory / entry.path().filename());
    }
    fs::create_symlink(fs::absolute(server.module), directory + "/mod_kelto_sysmgmt.so");
}

} // namespace

const ServerUnderTest &server_under_test()
{
    static const ServerUnderTest server = find_server();
    return server;
}

std::string WebServer::default_config()
{
    return "server.document-root = var.root + \"/www\"\n"
           "server.upload-dirs = ( var.root + \"/upload\" )\n"
           "server.bind = \"127.0.0.1\"\n"
           "server.modules = ( \"mod_kelto_sysmgmt\" )\n"
           "index-file.names = ( \"index.html\" )\n"
           "mimetype.assign = ( \".html\" => \"text/html\" )\n";
}

WebServer::WebServer(const std::string &config) : listening_port(free_port())
{
    const std::string config_file = root() + "/lighttpd.conf", modules = root() + "/modules";
    fs::create_directory(root() + "/www");
    fs::create_directory(root() + "/upload");
    write_file(config_file, "var.root = \"" + root() + "\"\n" + config +
                                "server.port := " + std::to_string(listening_port) + "\n");
    link_modules(modules);
    const std::vector<std::string> command = {
        server_under_test().program, "-D", "-f", config_file, "-m", modules};
    process = std::make_unique<Process>(command, root() + "/log");
    wait_until([this] { return !process->running() || accepts_connections(listening_port); });
    if (!process->running()) throw std::runtime_error(log());
}

std::string WebServer::log() const
{
    return read_file(root() + "/log");
}
