/* The module on the hosting layer, as a server would run it: registered and
 * initialised by its own hooks, connected to a socket whose other end the test
 * holds. Replies leave when the module has sent its request, so nothing here
 * needs a thread. */
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "server/lighttpd.h"
#include "sysmng/plugin_data.h"
#include "tests/support/messages.h"

/* A request as the daemon got it. */
struct Sent {
    uint32_t type;
    uint32_t tag;
    std::string payload;
};

/* What the module made of a request. */
struct Answer {
    handler_t result;
    int status;
    bool finished;
    size_t mode;
    std::string path; /* as it is handed back to the server */
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;

    std::string header(const std::string &name) const;
};

/* Listens on the daemon's socket for as long as it lives. */
class DaemonSocket {
public:
    DaemonSocket();
    ~DaemonSocket();
    int accept_one() const;

private:
    int listener;
};

class ModuleTest : public testing::Test {
protected:
    /* The version that the user interface's paths carry in every test. */
    static constexpr const char *version = "rel5";

    void SetUp() override;
    void TearDown() override;

    /* What the daemon answers to the next request that has no answer yet: a
     * reply, or any bytes; none means silence. */
    void will_reply(uint32_t command, uint32_t result, const std::string &record);
    void will_send(const std::string &bytes);

    /* Sends at once, asked or not. */
    void daemon_sends(const std::string &bytes) const;

    /* Forgets what the daemon was to answer, and what is on its way. */
    void forget_replies();
    void close_daemon();

    Answer request(http_method_t method, const std::string &path, const std::string &form = "");

    /* Runs the hook on `con` as it stands. */
    Answer run();

    /* The last request that the daemon got since this was asked; type 0: none. */
    Sent sent();

    plugin descriptor = {};
    plugin_data *state = nullptr;
    connection *con = nullptr;
    std::vector<std::string> log; /* "(label.line) items" */

private:
    static ModuleTest *current;
    static void keep_log_line(server *srv, const char *label, unsigned line, const char *text);
    static void answer_request();

    DaemonSocket socket;
    int daemon = -1;
    std::deque<std::string> replies;
};
