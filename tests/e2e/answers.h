/* Answers of the module, as an HTTP client sees them. */
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/http.h"
#include "tests/support/web_server.h"

/* The headers of every answer with a body, and of none without. */
inline const std::vector<std::string> json_headers = {
    "access-control-max-age: 0",
    "cache-control: max-age=0,no-cache,no-store,post-check=0,pre-check=0,must-revalidate",
    "content-type: text/json",
    "expires: -1",
};

/* What a server says that does not come up. */
inline std::string refusal_to_start(const std::string &config = WebServer::default_config())
{
    try {
        const WebServer server(config);
        return "It came up.";
    } catch (const std::runtime_error &error) {
        return error.what();
    }
}

/* A status alone. */
inline void expect_empty(const Response &response, int status)
{
    EXPECT_EQ(response.status, status);
    EXPECT_EQ(response.body, "");
    EXPECT_EQ(response.own_headers(), std::vector<std::string>{});
}

/* A failed command: a status alone, which a stock 1.4.51 turns into a closed connection. */
inline void expect_failure(const Response &response, int status)
{
    expect_empty(response, server_under_test().stock ? 0 : status);
}
