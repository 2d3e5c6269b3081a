/* What the unit tests use of the hosted module: requests, answers, and a daemon
 * with prepared replies. */
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <string>
#include <utility>

#include "tests/support/module_host.h"

/* A message as the daemon got it. */
struct Sent {
    uint32_t type, tag;
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
    std::multimap<std::string, std::string> headers;

    std::string header(const std::string &name) const
    {
        const auto found = headers.find(name);
        return found == headers.end() ? "" : found->second;
    }
};

class ModuleTest : public testing::Test, protected HostedModule {
protected:
    ModuleTest()
    {
        the_daemon.on_message = [this](const std::string &bytes) {
            last_sent = {u32_at(bytes, 0), u32_at(bytes, 8), bytes.substr(13)};
            EXPECT_EQ(message(last_sent.type, last_sent.payload, last_sent.tag), bytes);
            if (prepared.empty()) return;
            the_daemon.sends(prepared.front());
            prepared.pop_front();
        };
    }

    /* What the daemon answers to the next message that has no answer yet: a
     * reply, or any bytes. Without one it is silent, and the time is up. */
    void will_send(const std::string &bytes) { prepared.push_back(bytes); }
    void will_reply(uint32_t command, uint32_t result, const std::string &record)
    {
        will_send(reply(command, result, record));
    }

    /* Forgets what the daemon was to answer, and what is on its way. */
    void forget_replies()
    {
        prepared.clear();
        SysMngClearQueue(state->conn);
    }

    /* The last message since this was asked; type 0: none. */
    Sent sent() { return std::exchange(last_sent, {}); }

    Answer request(http_method_t method, const std::string &path, const std::string &form = "")
    {
        begin(method, path);
        append_body({{form}});
        return answer();
    }
    Answer get(const std::string &path) { return request(HTTP_METHOD_GET, path); }

    /* Runs the hook on `con` as it stands. */
    Answer answer()
    {
        Answer answer = {run(), con->http_status, con->file_finished != 0, con->mode, "", "", {}};
        if (con->uri.path->used > 0) answer.path = con->uri.path->ptr;
        answer.body = hosted_response_body(con);
        const array *headers = hosted_response_headers(con);
        for (size_t i = 0; i < headers->used; ++i) {
            const auto *entry = reinterpret_cast<const data_string *>(headers->data[i]);
            answer.headers.emplace(entry->key->ptr, entry->value->ptr);
        }
        return answer;
    }

private:
    Sent last_sent = {};
    std::deque<std::string> prepared;
};
