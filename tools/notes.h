/* What the tables of the module cannot say: words for operations and fields,
 * which only the documents need. A resource can do without. */
#pragma once

#include <set>
#include <string>

#include "reply/record.h"

struct OperationNote {
    const char *operation; /* its operationId */
    const char *summary;
    const char *more; /* after what the kind of operation says */
};

/* Null when there is none. */
const OperationNote *note_on(const std::string &operation);

/* What the field means, and what the simulated device takes for it; may be
 * empty. */
std::string note_on(const Record &record, const std::string &key);

/* A note about something that does not exist; empty when all do. */
std::string stale_note(const std::set<std::string> &operations);
