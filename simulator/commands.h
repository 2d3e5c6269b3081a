/* The commands, and what answers each. */
#pragma once

#include "simulator/answer.h"

enum class Takes { Nothing, Id, MaybeId, OneRecord, AnyRecords };

struct Command {
    uint32_t code;
    Takes takes;
    Answer *answer;
    const Record *record = nullptr; /* that it is about */
    const Record *reply = nullptr;  /* when the reply is of another one */
};

/* Null for a code that the daemon does not carry out. */
const Command *find_command(uint32_t code);

/* The command that reports figures or states, such as "zixi_stats"; null when
 * none does. */
const Command *find_report(const std::string &name);

/* "channel, channel_info, ports, ..." */
std::string report_names();

/* Carries the request out. Every code gets a reply, at least a
 * refusal. */
Reply answer(Device &device, Request request);

/* The record that a command's request is made of; null when it has none. */
const Record *request_record(uint32_t code);

/* The record that a reply with this result is made of; null when it has none. */
const Record *reply_record(uint32_t code, uint32_t result);

/* Whether the command installs a file, and is refused with a result record. */
bool takes_file(uint32_t code);
