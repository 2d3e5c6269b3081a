#include "simulator/daemon.h"

#include <algorithm>

#include "simulator/format.h"
#include "simulator/rules.h"
#include "simulator/upgrade.h"

namespace {

constexpr const char *control_help =
    "list                       the faults that there are\n"
    "fault FAULT                from now on, this goes wrong\n"
    "clear                      no more faults\n"
    "help                       this text\n";

std::string outcome(const Reply &reply)
{
    if (reply.result != RESULT_SUCCESS) return "refused: " + printable(reply.reason);
    return reply.record.empty() ? "done" : format("done, %zu bytes", reply.record.size());
}

/* The command, and the item that it is about. */
std::string summary(const Request &request)
{
    const std::optional<int32_t> id = requested_id(request);
    const bool names_item = id && !request_record(request.code);
    return command_name(request.code) + (names_item ? format(" %d", *id) : "");
}

void print_fields(const Request &request, const Record &record)
{
    const size_t count = request.payload.size() / record.size;
    for (size_t i = 0; i < count; ++i) {
        const RecordBytes given = record_at(record, request.payload, i * record.size);
        const int index = count > 1 ? static_cast<int>(i) : no_request_index;
        for (const Leaf &leaf : leaves(record)) {
            printf("    %s = %s\n", form_parameter(leaf.key, index).c_str(),
                   printable(get_text(given, leaf.key)).c_str());
        }
    }
}

bool is_about_faults(const Step &step)
{
    return step.action.kind == Action::AddFault || step.action.kind == Action::ClearFaults;
}

/* Clients expect each complaint to name a parameter. */
Reply not_recorded(uint32_t code)
{
    const std::string reason = "This request is not in the recording.";
    if (takes_file(code)) return refuse_file(reason);
    const Record *record = request_record(code);
    return refusal({{reason, record ? leaves(*record).front().key : ""}});
}

} // namespace

Daemon::Daemon(const DaemonOptions &options, Recorder &recorder)
    : options_(options), recorder_(recorder), device_(factory_device(options.device))
{
}

Delivery Daemon::respond(unsigned client, const Request &request)
{
    if (options_.fast && options_.faults.empty()) return {prepared_reply(request)};

    const std::vector<Fault> faults = options_.faults.take(request.code);
    const Reply reply = carried_out(request, faults);
    trace(client, request, reply, faults);
    if (recorder_.is_open() && !request.is_damaged) {
        recorder_.write(format("%.3f s, client %u", now(), client), request, reply);
    }
    ReplyMessage message = message_of(request, reply);
    apply_faults(message, faults);
    const bool is_sent = !message.silent && !message.close;
    return {is_sent ? encode(message) : Bytes(), message.delay, message.close};
}

Reply Daemon::carried_out(const Request &request, const std::vector<Fault> &faults)
{
    if (const auto refused = requested_refusal(faults, request.code)) return *refused;
    if (!options_.replay.is_empty() && !request.is_damaged) return replayed(request);
    device_.next_upgrade_ends_at = upgrade_end(faults);
    return answer(device_, request);
}

Reply Daemon::replayed(const Request &request)
{
    if (const std::optional<Reply> reply = options_.replay.next_reply(request)) return *reply;
    if (not_recorded_.insert({request.code, request.payload}).second) {
        const std::string text = request_text(request.code, request.payload);
        printf("replay: this is not in the recording:\n%s", text.c_str());
    }
    return not_recorded(request.code);
}

/* What the untouched device answers to the first request of the kind: with the
 * same identifiers, and as long. A refusal concerns its request alone, and is
 * not kept. */
Bytes Daemon::prepared_reply(const Request &request)
{
    const Bytes &payload = request.payload;
    const size_t shown = std::min<size_t>(payload.size(), 8);
    const auto kind = std::make_tuple(request.code, request.tag, payload.size(),
                                      Bytes(payload.data(), payload.data() + shown));
    const auto known = prepared_.find(kind);
    if (known != prepared_.end()) return known->second;
    Device device = device_;
    const Reply reply = answer(device, request);
    Bytes message = encode(message_of(request, reply));
    if (reply.result == RESULT_SUCCESS) prepared_[kind] = message;
    return message;
}

std::string Daemon::control(const std::string &line)
{
    if (line.empty()) return "";
    if (line == "help") return control_help + actions_help() + faults_help();
    if (line == "list") return options_.faults.list();
    Step step;
    const std::string problem = parse_step(line, step);
    if (!problem.empty()) return printable(problem) + "\n";
    options_.scenario.add(step, now());
    run_due_steps();
    return is_about_faults(step) ? options_.faults.list() : "";
}

double Daemon::now() const
{
    return seconds_since(device_, started_);
}

std::optional<Clock::duration> Daemon::until_next_step() const
{
    const std::optional<double> next = options_.scenario.next_time();
    if (!next) return {};
    const double seconds = std::max(0.0, (*next - now()) / device_.options.speed);
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

void Daemon::run_due_steps()
{
    /* Not all, where a busy machine cannot keep up: clients and signals have their turn, too. */
    constexpr int most_at_once = 100;
    for (int i = 0; i < most_at_once; ++i) {
        const std::optional<Step> step = options_.scenario.take_due(now());
        if (!step) return;
        run(*step);
    }
}

/* Prints what was refused, and the outcome of a typed line. */
void Daemon::run(const Step &step)
{
    if (step.repeats_all) return;
    const Outcome outcome = carry_out(step.action, device_, options_.faults, last_made_);
    settle(device_);
    const bool is_asked_for = options_.verbosity > 0 || (step.line == 0 && !is_about_faults(step));
    if (outcome.is_good && !is_asked_for) return;
    const std::string line = step.line > 0 ? format("line %zu, ", step.line) : "";
    printf("scenario: %s%.0f s: %s: %s\n", line.c_str(), now(), printable(step.text).c_str(),
           outcome.text.c_str());
}

void Daemon::trace(unsigned client, const std::string &what) const
{
    if (options_.verbosity > 0) printf("client %u: %s\n", client, what.c_str());
}

void Daemon::trace(unsigned client, const Request &request, const Reply &reply,
                   const std::vector<Fault> &faults) const
{
    if (options_.verbosity == 0) return;
    std::string line = summary(request) + ": " + outcome(reply);
    for (const Fault &fault : faults) line += format(" [fault %s]", fault.text.c_str());
    trace(client, line);
    const Record *record = request_record(request.code);
    if (options_.verbosity > 1 && record) print_fields(request, *record);
}
