/* What the daemon refuses. */
#pragma once

#include "simulator/protocol.h"

constexpr int no_request_index = -1;

/* The complaints about a request record; none when all is well. What the
 * client didn't give is not looked at. With an index, the complaints name the
 * form parameters "key[index]". */
Complaints check_record(const RecordBytes &request, int index = no_request_index);

/* What the daemon says when it refuses a value of this field; empty when it
 * takes any. */
std::string rule_for(const Record &record, const std::string &key);

/* "key", or "key[index]". */
std::string form_parameter(const std::string &key, int index);
