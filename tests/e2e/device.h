/* The simulated appliance behind a real server, set up as in the example configuration. */
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/e2e/answers.h"

using Texts = std::vector<std::string>;

class Device : public testing::Test {
protected:
    /* Starts the simulated daemon with these options, and the server. */
    void start(Texts options = {}, const std::string &more_config = "")
    {
        options.insert(options.begin(), SYSMNGD_SIM);
        simulator.emplace(options, directory.path + "/log");
        ASSERT_TRUE(wait_until([&] { return simulator_log().find("listening") < 100; }));
        server.emplace("include \"" KELTO_DEMO "/lighttpd.conf\"\n" + more_config);
        client.port = server->port();
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
    std::optional<WebServer> server;
    HttpClient client{0};
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
