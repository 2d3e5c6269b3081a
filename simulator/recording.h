/* A session that is written to a file, and answered from it. */
#pragma once

#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "simulator/recording_text.h"

class Recorder {
public:
    /* Begins a new file. Returns the problem, empty when there is none. */
    std::string open(const std::string &path);

    bool is_open() const { return file_.is_open(); }

    /* Writes the exchange, and a comment before it. */
    void write(const std::string &comment, const Request &request, const Reply &reply);

private:
    std::ofstream file_;
};

class Replay {
public:
    /* Returns the problems, each with file and line. */
    std::vector<std::string> read(const std::string &path);

    bool is_empty() const { return replies_.empty(); }

    /* The next reply to this request; the last one again when there are no
     * more. None when the request was not recorded. */
    std::optional<Reply> next_reply(const Request &request);

private:
    struct Replies {
        std::vector<Reply> all;
        size_t next = 0;
    };

    std::map<std::pair<uint32_t, Bytes>, Replies> replies_; /* by code and payload */
};
