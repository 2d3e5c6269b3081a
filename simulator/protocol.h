/* Requests as they arrive and replies as they leave. */
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "simulator/record_values.h"

struct Request {
    uint32_t code = 0, tag = 0;
    Bytes payload;
    bool is_damaged = false;        /* its checksum is wrong */
    const Record *record = nullptr; /* that the command is about, once that is known */
};

/* A request for one item is its identifier, twice. */
std::optional<int32_t> requested_id(const Request &request);

enum Result : uint32_t {
    RESULT_SUCCESS = 1,
    RESULT_REFUSED = 2,
    RESULT_UNKNOWN_COMMAND = 3,
    RESULT_DAMAGED_REQUEST = 4
};

/* A sentence for the user, and the form parameter that it is about. */
struct Complaint {
    std::string message;
    std::string property;
};
using Complaints = std::vector<Complaint>;

struct Reply {
    uint32_t result;
    Bytes record;       /* any number of records, or the list of complaints */
    std::string reason; /* of a refusal, for the log */
};

Reply success(Bytes record = {});
Reply refusal(const Complaints &complaints);
Reply failure(uint32_t result, const std::string &reason); /* without a list */

/* A reply as it is sent. Faults change it. */
struct ReplyMessage {
    uint32_t type, tag, command, result, data_len;
    Bytes record;
    uint8_t checksum_error = 0; /* added to the right checksum */
    uint32_t cut = 0;           /* bytes missing at its end; the lengths do not count them */
    bool half_sent = false;     /* half of the payload that the header announces */
    bool silent = false;        /* nothing is sent */
    bool close = false;         /* the connection ends, instead of the reply */
    std::chrono::milliseconds delay{};
};

ReplyMessage message_of(const Request &request, const Reply &reply);
Bytes encode(const ReplyMessage &message);

enum class Arrival {
    Incomplete, /* more bytes are needed */
    Whole,
    Senseless /* the length is impossible, and the next request cannot be found */
};

/* Takes the first request off `input`, when it is there whole. */
Arrival next_request(Bytes &input, Request &request);

/* An entry of a list of complaints: message and property. */
RECORD(complaint_record, 510, field::at(0, field::text("message", 255)),
       field::at(255, field::text("property", 255)))

/* "CMD_UPTIME_GET"; "command 50" for a code without a name. */
std::string command_name(uint32_t code);

/* Of a name such as CMD_UPTIME_GET, or of a code in digits. */
std::optional<uint32_t> command_code(const std::string &text);
