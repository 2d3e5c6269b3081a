/* What the end-to-end tests are set up with: a real server in front of a scripted daemon, or of the
 * simulated appliance. */
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/fake_daemon.h"
#include "tests/support/http.h"
#include "tests/support/table.h"
#include "tests/support/web_server.h"

/* The headers of every answer with a body, and of none without. */
inline const std::vector<std::string> json_headers = {
    "access-control-max-age: 0",
    "cache-control: max-age=0,no-cache,no-store,post-check=0,pre-check=0,must-revalidate",
    "content-type: text/json",
    "expires: -1",
};

/* A status alone, which a stock 1.4.51 turns into a closed connection for most failed commands. */
inline void expect_failure(const Response &response, int status, bool closes = true)
{
    EXPECT_EQ(response.status, closes && server_under_test().stock ? 0 : status);
    EXPECT_EQ(response.body, "");
    EXPECT_EQ(response.own_headers(), std::vector<std::string>{});
}

class ServerTest : public testing::Test {
protected:
    void serve(const std::string &config)
    {
        server.emplace(config);
        client.port = server->port();
    }

    std::optional<WebServer> server;
    HttpClient client{0};
};

enum : uint32_t { sap_set = 25, general_get = 44, uptime_get = 52, changes_get = 59 };

class Exchange : public ServerTest {
protected:
    ~Exchange() override { server.reset(); } /* before the daemon */
    void SetUp() override { restart(); }

    /* The first request makes the module ask for the software version: out of the way. */
    void restart(const std::string &more_config = "")
    {
        serve(WebServer::default_config() + more_config);
        client.get("/views/none");
        daemon.take_requests();
    }

    /* Sets what the daemon answers, and reads it through the server. */
    void expect_good_exchange()
    {
        daemon.answer(changes_get, {Step::send(reply(changes_get, 1, changes_record))});
        const Response changes = client.get("/api/changes");
        EXPECT_EQ(changes.status, 200);
        EXPECT_EQ(changes.body, changes_text);
        EXPECT_EQ(changes.own_headers(), json_headers);
    }

    const std::string changes_record = u32(1) + u32(22) + u32(0) + u32(0xFFFFFFFF) +
                                       u32(0x80000000) + u32(0x7FFFFFFF) + u32(7) + u32(8);
    const std::string changes_text =
        "[ {\"channelList\" : 1, \"configList\" : 22, \"channelInfo\" : 0, \"portsInfo\" : -1, "
        "\"decoderParameters\" : -2147483648, \"networkParameters\" : 2147483647, "
        "\"datetimeParameters\" : 7, \"software\" : 8} ]";

    FakeDaemon daemon;
};

using Texts = std::vector<std::string>;

/* Set up as in the example configuration. */
class Device : public ServerTest {
protected:
    /* Starts the simulated daemon with these options, and the server. */
    void start(Texts options = {}, const std::string &more_config = "")
    {
        options.insert(options.begin(), SYSMNGD_SIM);
        simulator.emplace(options, directory.path + "/log");
        ASSERT_TRUE(wait_until([&] { return simulator_log().find("listening") < 100; }));
        serve("include \"" KELTO_DEMO "/lighttpd.conf\"\n" + more_config);
    }

    void TearDown() override
    {
        EXPECT_EQ(server ? server->stop() : 0, 0) << server->log();
        EXPECT_EQ(simulator ? simulator->stop() : 0, 0) << simulator_log();
    }

    std::string simulator_log() const { return read_file(directory.path + "/log"); }

    /* "PUT /api/sap port=5004" */
    Response ask(const std::string &request) const
    {
        std::string method, path, body;
        std::istringstream(request) >> method >> path >> body;
        return client.request(method, path, body);
    }
    std::string get(const std::string &path) const { return client.get(path).body; }

    const PrivateDirectory directory;
    std::optional<Process> simulator;
};

/* Expected texts have ' for ". */
inline std::string quoted(std::string text)
{
    std::replace(text.begin(), text.end(), '\'', '"');
    return text;
}

inline void expect_text(const std::string &body, const std::string &text)
{
    EXPECT_NE(body.find(quoted(text)), std::string::npos) << text << "\nin " << body;
}
