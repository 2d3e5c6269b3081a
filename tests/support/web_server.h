/* The web server with the module under test, as a child process on a free port of its own. */
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "tests/support/process.h"

/* Taken from the environment: KELTO_LIGHTTPD, the server's program; KELTO_LIGHTTPD_MODULES, the
 * directory of its own modules; KELTO_MODULE, the module. Without them, the packaged server and
 * the module that was built for the server's version. */
struct ServerUnderTest {
    std::string program;
    std::string own_modules;
    std::string module;
    bool stock; /* 1.4.51: a failed request is a closed connection, and there is no HTTP/2 */
};
const ServerUnderTest &server_under_test();

/* A directory that lives as long as the object. */
struct PrivateDirectory {
    PrivateDirectory() : path(std::filesystem::temp_directory_path() / "kelto-test-XXXXXX")
    {
        if (!mkdtemp(path.data())) throw std::runtime_error("mkdtemp: " + path);
    }
    ~PrivateDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    PrivateDirectory(PrivateDirectory &&) = delete;
    std::string path;
};

/* And its directory. */
inline void write_file(const std::string &path, const std::string &text)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << text;
}

inline std::string read_file(const std::string &path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class WebServer {
public:
    /* Starts the server and waits until it accepts connections. In `config`, var.root is a
     * directory of this server's own; the port is set here. Throws std::runtime_error with what
     * the server said when it doesn't come up. */
    explicit WebServer(const std::string &config = default_config());

    static std::string default_config();

    int port() const { return listening_port; }
    pid_t process_id() const { return process->id(); }
    std::string root() const { return directory.path; }
    std::string log() const; /* all that it wrote, error log and standard error */

    /* Lets it end what it has begun. Returns its exit status. */
    int stop() { return process->stop(SIGINT); }

private:
    const PrivateDirectory directory;
    const int listening_port;
    std::unique_ptr<Process> process;
};
