/* What a line of a scenario does: it sends a command as another client would,
 * makes a report show a value from then on, or adds a fault. */
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "simulator/commands.h"
#include "simulator/faults.h"

struct Action {
    enum { RunCommand, ShowValues, ShowOwnValues, AddFault, ClearFaults } kind = ClearFaults;
    const Command *command = nullptr;                        /* to run, or that reports */
    std::string id;                                          /* of RunCommand: a number or "last" */
    std::vector<std::pair<std::string, std::string>> values; /* by key */
    double seconds = 0;                                      /* that the values take */
    std::string fault;
};

/* Reads an action (see actions_help); its values move for `seconds` when these
 * are not 0. Returns the problem, empty when there is none. */
std::string parse_action(const std::string &text, double seconds, Action &action);

/* The identifiers of the items made last, which "last" stands for. */
using LastMade = std::map<const Record *, int32_t>;

struct Outcome {
    bool is_good;
    std::string text;
};

Outcome carry_out(const Action &action, Device &device, FaultList &faults, LastMade &last);

std::string actions_help();
