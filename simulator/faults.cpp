#include "simulator/faults.h"

#include <algorithm>
#include <iterator>

#include "simulator/commands.h"
#include "simulator/format.h"
#include "simulator/text_input.h"
#include "simulator/upgrade.h"
#include "sysmng/command.h"

namespace {

constexpr uint32_t most_complaints = 1000;
constexpr uint32_t greatest_number = 16 * 1024 * 1024;

struct KindRow {
    FaultKind kind;
    const char *name;
    const char *number; /* what it means; null when the kind takes none */
    std::optional<uint32_t> default_number;
    const char *help;
    std::optional<uint32_t> command = {};  /* the only one that it can happen to */
    std::optional<uint32_t> greatest = {}; /* number */
};

constexpr KindRow kinds[] = {
    {FaultKind::Delay, "delay", "milliseconds", {}, "the reply comes late"},
    {FaultKind::Refuse, "refuse", "complaints", 1, "the command is refused, not carried out"},
    {FaultKind::WrongEcho, "wrong-echo", nullptr, {}, "the reply is to another command"},
    {FaultKind::WrongType, "wrong-type", nullptr, {}, "the reply's type is not a reply's"},
    {FaultKind::BadChecksum, "bad-checksum", nullptr, {}, "the reply's checksum is wrong"},
    {FaultKind::ShortPayload, "short-payload", nullptr, {}, "half of the payload arrives"},
    {FaultKind::ShortRecord, "short-record", nullptr, {}, "the record is a byte too short"},
    {FaultKind::Oversize, "oversize", "bytes", 20000, "zeros after the record, up to a length"},
    {FaultKind::Silence, "silence", nullptr, {}, "no reply at all"},
    {FaultKind::Close, "close", nullptr, {}, "the connection ends, instead of the reply"},
    {FaultKind::UpgradeFails, "upgrade-fails", "percent", 60, "the upgrade ends there, and fails",
     CMD_GENERAL_FIRMWARE_UPGRADE, 99},
};

/* Takes the last `mark` and what follows it off `text`; returns what follows. */
std::optional<std::string> take_after(std::string &text, char mark)
{
    const size_t at = text.rfind(mark);
    if (at == std::string::npos) return {};
    const std::string after = text.substr(at + 1);
    text.erase(at);
    return after;
}

std::string parse_kind(std::string text, Fault &fault)
{
    const std::optional<std::string> number = take_after(text, '=');
    const auto kind = std::find_if(std::begin(kinds), std::end(kinds),
                                   [&](const KindRow &row) { return text == row.name; });
    if (kind == std::end(kinds)) return format("There is no fault \"%s\".", text.c_str());
    fault.kind = kind->kind;
    if (kind->command && fault.command.value_or(*kind->command) != *kind->command) {
        return text + " happens to " + command_name(*kind->command) + " only.";
    }
    if (kind->command) fault.command = kind->command;
    if (!kind->number) return number ? text + " takes no number." : "";
    const auto wanted = number ? uint_of(*number) : kind->default_number;
    const uint32_t greatest = kind->greatest.value_or(greatest_number);
    if (!wanted || *wanted > greatest) {
        return format("%s takes a number of %s, at most %u.", kind->name, kind->number, greatest);
    }
    fault.number = *wanted;
    return "";
}

std::string parse(std::string text, Fault &fault)
{
    if (const auto count = take_after(text, '*')) {
        fault.remaining = uint_of(*count);
        if (fault.remaining.value_or(0) == 0) return "The count after * is a number above 0.";
    }
    fault.text = text;
    if (const auto command = take_after(text, '@')) {
        fault.command = command_code(*command);
        if (!fault.command) return format("There is no command \"%s\".", command->c_str());
    }
    return parse_kind(text, fault);
}

/* About the command's own parameters, as long as there are some. */
Complaints made_up_complaints(const Record *record, uint32_t count)
{
    Complaints complaints;
    for (uint32_t i = 0; i < std::min(count, most_complaints); ++i) {
        const bool has_key = record && i < leaves(*record).size();
        complaints.push_back({format("Value %u is refused on request.", i + 1),
                              has_key ? leaves(*record)[i].key : format("parameter%u", i + 1)});
    }
    return complaints;
}

/* A command that is refused starts no upgrade, and an upgrade fails only once. */
bool can_fail_upgrade(const std::vector<Fault> &faults)
{
    return std::none_of(faults.begin(), faults.end(), [](const Fault &fault) {
        return fault.kind == FaultKind::Refuse || fault.kind == FaultKind::UpgradeFails;
    });
}

/* A reply without a record loses a byte of its preamble. */
void shorten(ReplyMessage &message)
{
    message.cut = 1;
    if (message.data_len > 0) --message.data_len;
}

} // namespace

std::string FaultList::add(const std::string &text)
{
    Fault fault;
    std::string problem = parse(text, fault);
    if (problem.empty()) faults_.push_back(fault);
    return problem;
}

std::vector<Fault> FaultList::take(uint32_t command)
{
    std::vector<Fault> taken;
    for (Fault &fault : faults_) {
        if (fault.command.value_or(command) != command) continue;
        if (fault.kind == FaultKind::UpgradeFails && !can_fail_upgrade(taken)) continue;
        if (fault.remaining) --*fault.remaining;
        taken.push_back(fault);
    }
    std::erase_if(faults_, [](const Fault &fault) { return fault.remaining == 0U; });
    return taken;
}

std::string FaultList::list() const
{
    std::string lines;
    for (const Fault &fault : faults_) {
        lines += fault.text;
        if (fault.remaining) lines += format(", %u to go", *fault.remaining);
        lines += "\n";
    }
    return lines.empty() ? "no faults\n" : lines;
}

std::optional<Reply> requested_refusal(const std::vector<Fault> &faults, uint32_t command)
{
    for (const Fault &fault : faults) {
        if (fault.kind != FaultKind::Refuse) continue;
        if (takes_file(command)) return refuse_file("This file is refused on request.");
        return refusal(made_up_complaints(request_record(command), fault.number));
    }
    return {};
}

int upgrade_end(const std::vector<Fault> &faults)
{
    for (const Fault &fault : faults) {
        if (fault.kind == FaultKind::UpgradeFails) return static_cast<int>(fault.number);
    }
    return 100;
}

void apply_faults(ReplyMessage &message, const std::vector<Fault> &faults)
{
    for (const Fault &fault : faults) {
        switch (fault.kind) {
            case FaultKind::Delay: message.delay += std::chrono::milliseconds(fault.number); break;
            case FaultKind::Refuse:
            case FaultKind::UpgradeFails: break;
            case FaultKind::WrongEcho: ++message.command; break;
            case FaultKind::WrongType: ++message.type; break;
            case FaultKind::BadChecksum: message.checksum_error = 1; break;
            case FaultKind::ShortPayload: message.half_sent = true; break;
            case FaultKind::ShortRecord: shorten(message); break;
            case FaultKind::Oversize:
                message.record.resize(std::max<size_t>(message.record.size(), fault.number));
                break;
            case FaultKind::Silence: message.silent = true; break;
            case FaultKind::Close: message.close = true; break;
        }
    }
}

std::string faults_help()
{
    std::string help =
        "A FAULT is one of these, then @COMMAND to limit it to a command (CMD_UPTIME_GET,\n"
        "or 52), then *COUNT to limit how often it happens, as in delay=2000@CMD_UPTIME_GET*3:\n";
    for (const KindRow &kind : kinds) {
        std::string form = kind.name;
        if (kind.number) form += format(kind.default_number ? "[=%s]" : "=%s", kind.number);
        help += format("  %-24s %s\n", form.c_str(), kind.help);
    }
    return help;
}
