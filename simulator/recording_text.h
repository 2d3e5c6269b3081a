/* A recorded session as text, which people can read and edit:
 *
 *     request CMD_STREAM_SET
 *       record
 *         id = 4
 *         name = "Camera \"A\""
 *     reply success
 *
 *     request CMD_STREAM_GET 99
 *     reply refused
 *       record
 *         message = "There is no entry with the identifier 99."
 *
 * docs/simulator.md describes it for users. */
#pragma once

#include <string>
#include <vector>

#include "simulator/protocol.h"

struct Exchange {
    uint32_t code = 0;
    Bytes request;
    uint32_t result = 0;
    Bytes reply; /* the record after the preamble */
};

std::string request_text(uint32_t code, const Bytes &payload);
std::string exchange_text(const Exchange &exchange);

/* Reads what exchange_text has written. Returns the problems, each with the
 * number of its line in front. */
std::vector<std::string> parse_exchanges(const std::vector<std::string> &lines,
                                         std::vector<Exchange> &exchanges);
