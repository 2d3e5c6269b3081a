/* Answers of the module, as an HTTP client sees them. */
#pragma once

#include <gtest/gtest.h>

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

/* A status alone, which a stock 1.4.51 turns into a closed connection for most failed commands. */
inline void expect_failure(const Response &response, int status, bool closes = true)
{
    EXPECT_EQ(response.status, closes && server_under_test().stock ? 0 : status);
    EXPECT_EQ(response.body, "");
    EXPECT_EQ(response.own_headers(), std::vector<std::string>{});
}
