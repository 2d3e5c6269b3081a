/* What the simulator prints while it serves. */
#pragma once

#include "simulator/faults.h"
#include "simulator/protocol.h"

enum Verbosity : int {
    QUIET,
    COMMANDS, /* a line for every command */
    FIELDS    /* and one for every field of its request */
};

void trace_exchange(int verbosity, unsigned client, const Request &request, const Reply &reply,
                    const std::vector<Fault> &faults);

void trace_client(int verbosity, unsigned client, const char *what);
