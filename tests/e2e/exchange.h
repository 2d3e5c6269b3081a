/* The set-up of most end-to-end tests: a scripted daemon and a server. */
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/e2e/answers.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/web_server.h"

enum : uint32_t { sap_set = 25, general_get = 44, uptime_get = 52, changes_get = 59 };

class Exchange : public testing::Test {
protected:
    void SetUp() override { restart(); }

    /* The first request makes the module ask for the software version: out of the way. */
    void restart(const std::string &more_config = "")
    {
        server.emplace(WebServer::default_config() + more_config);
        client.port = server->port();
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
    std::optional<WebServer> server;
    HttpClient client{0};
};
