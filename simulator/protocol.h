/* Requests as they arrive and replies as they leave. */
#pragma once

#include <string>
#include <vector>

#include "simulator/record_values.h"

struct Request {
    uint32_t code;
    uint32_t tag;
    Bytes payload;
};

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

/* A reply with all that travels, for faults to bend. */
struct ReplyMessage {
    uint32_t type, tag, command, result, data_len;
    Bytes record;
    uint8_t checksum_error; /* added to the right checksum */
    uint32_t cut;           /* bytes that the payload is shorter, as the header knows */
    bool half_sent;         /* the header claims a payload of which half leaves */
};

ReplyMessage message_of(const Request &request, const Reply &reply);
Bytes encode(const ReplyMessage &message);

enum class Arrival {
    Incomplete, /* more bytes are needed */
    Whole,
    Damaged,  /* whole, but the checksum is wrong */
    Senseless /* the length is no message's: where the next begins is unknown */
};

/* Takes the first request off `input`, when it is there whole. */
Arrival next_request(Bytes &input, Request &request);

/* "CMD_UPTIME_GET"; a number for a code without a name. */
std::string command_name(uint32_t code);
