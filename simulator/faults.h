/* Faults on request: what can go wrong between a daemon and its client. */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/protocol.h"

/* Refuse replaces the command, UpgradeFails concerns the upgrade that it starts,
 * and all others change its reply. */
enum class FaultKind {
    Delay,
    Refuse,
    WrongEcho,
    WrongType,
    BadChecksum,
    ShortPayload,
    ShortRecord,
    Oversize,
    Silence,
    Close,
    UpgradeFails
};

struct Fault {
    FaultKind kind{};
    uint32_t number = 0;
    std::optional<uint32_t> command;   /* only this one */
    std::optional<uint32_t> remaining; /* only so many times */
    std::string text;                  /* as it was asked for, without the count */
};

class FaultList {
public:
    /* Adds the fault that the text describes (see faults_help). Returns the
     * problem in one sentence, empty when there is none. */
    std::string add(const std::string &text);

    bool empty() const { return faults_.empty(); }

    /* The faults that hit this command now, each counted off. */
    std::vector<Fault> take(uint32_t command);

    void clear() { faults_.clear(); }

    /* A line for each, with how often it is still to happen. */
    std::string list() const;

private:
    std::vector<Fault> faults_;
};

/* The refusal that replaces the command, if one of the faults is that. */
std::optional<Reply> requested_refusal(const std::vector<Fault> &faults, uint32_t command);

/* The percentage at which an upgrade ends that is started now. */
int upgrade_end(const std::vector<Fault> &faults);

void apply_faults(ReplyMessage &message, const std::vector<Fault> &faults);

std::string faults_help();
