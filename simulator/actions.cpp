#include "simulator/actions.h"

#include "simulator/format.h"
#include "simulator/items.h"
#include "simulator/rules.h"
#include "simulator/text_input.h"
#include "sysmng/bytes.h"

namespace {

using std::optional;
using std::string;

constexpr const char *last_made = "last";

/* Takes "key=value; key=value" apart. */
string parse_values(const string &text, Action &action)
{
    for (size_t begin = 0, end; begin < text.size(); begin = end + 2) {
        end = std::min(text.find("; ", begin), text.size());
        const string value = text.substr(begin, end - begin);
        const size_t equals = value.find('=');
        if (equals == string::npos) return "\"" + value + "\" is not KEY=VALUE";
        action.values.push_back({trimmed(value.substr(0, equals)), value.substr(equals + 1)});
    }
    return action.values.empty() ? "KEY=VALUE is missing" : "";
}

/* The two ends of "A..B"; the first is empty when the value is to move from
 * where it is. */
struct Range {
    string from, to;
};

optional<Range> range_of(const string &text)
{
    const size_t dots = text.find("..");
    if (dots == string::npos) return {};
    return Range{text.substr(0, dots), text.substr(dots + 2)};
}

string range_problem(const Field &field, const string &text)
{
    const optional<Range> range = range_of(text);
    if (!is_number(field) || !range) return "takes a range of numbers, as 0..100 or ..100";
    const string from = range->from.empty() ? "" : value_problem(field, range->from);
    return from.empty() ? value_problem(field, range->to) : from;
}

string values_problem(const Action &action, const Record &record)
{
    for (const auto &[key, value] : action.values) {
        const Leaf *leaf = find_leaf(record, key);
        if (!leaf) return short_name(record) + " has no \"" + key + "\"";
        if (action.kind == Action::RunCommand && key == "id" && value == last_made) continue;
        const string problem = action.seconds > 0 ? range_problem(*leaf->field, value)
                                                  : value_problem(*leaf->field, value);
        if (problem.empty()) continue;
        const bool needs_time = is_number(*leaf->field) && action.seconds == 0 && range_of(value);
        return format("%s %s%s", key.c_str(), problem.c_str(),
                      needs_time ? "; a range needs over" : "");
    }
    return "";
}

/* A request with the action's values, where "last" is this identifier. */
RecordBytes given_record(const Action &action, int32_t last)
{
    RecordBytes given = blank_request(*action.command->record);
    for (const auto &[key, value] : action.values) {
        const bool is_last = key == "id" && value == last_made;
        set_text(given, key, is_last ? std::to_string(last) : value);
    }
    return given;
}

string parse_command(const string &name, const string &rest, Action &action)
{
    const optional<uint32_t> code = command_code(name);
    action.kind = Action::RunCommand;
    action.command = code ? find_command(*code) : nullptr;
    if (!action.command) return "the daemon has no command " + name;
    if (action.seconds > 0) return "a command takes no time; over is for the values of reports";
    if (request_record(*code)) {
        string problem = parse_values(rest, action);
        if (problem.empty()) problem = values_problem(action, *action.command->record);
        if (!problem.empty()) return problem;
        const Complaints complaints = check_record(given_record(action, 0));
        if (complaints.empty()) return "";
        return complaints.front().property + ": " + complaints.front().message;
    }
    if (action.command->takes == Takes::Id) {
        action.id = rest;
        return rest == last_made || int_of(rest) ? "" : name + " takes an identifier, or last";
    }
    return rest.empty() ? "" : name + " takes nothing";
}

string no_such(const string &what, const string &name)
{
    return "there is no " + what + " \"" + name + "\"; the reports are " + report_names();
}

/* "zixi_stats packetLoss=3" */
string parse_report(const string &name, const string &rest, Action &action)
{
    action.command = find_report(name);
    if (!action.command) return no_such("report", name);
    if (action.kind == Action::ShowOwnValues) return "";
    const string problem = parse_values(rest, action);
    return problem.empty() ? values_problem(action, *action.command->reply) : problem;
}

string parse_fault(const string &rest, Action &action)
{
    action.kind = Action::AddFault;
    action.fault = rest;
    return FaultList().add(rest);
}

string result_text(const Reply &reply)
{
    return reply.result == RESULT_SUCCESS ? "done" : "refused: " + printable(reply.reason);
}

bool names_last(const Action &action)
{
    for (const auto &[key, value] : action.values) {
        if (key == "id" && value == last_made) return true;
    }
    return action.id == last_made;
}

Bytes request_payload(const Action &action, Device &device, int32_t last)
{
    if (!action.id.empty()) {
        const int32_t id = int_of(action.id).value_or(last);
        Bytes twice(8);
        store_i32(twice.data(), id);
        store_i32(twice.data() + 4, id);
        return twice;
    }
    if (action.values.empty()) return {};
    RecordBytes given = given_record(action, last);
    const Record &record = *given.record;
    const int32_t id = has_field(record, "id") ? get_int(given, "id") : 0;
    const RecordBytes *stored = find_stored(device, record, id);
    if (!stored) return given.bytes;
    /* A request always gives all flags: those without a value stay as they are. */
    RecordBytes request = given;
    copy_flags(request, *stored);
    for (const auto &[key, value] : action.values) set_text(request, key, get_text(given, key));
    return request.bytes;
}

Outcome run_command(const Action &action, Device &device, LastMade &last)
{
    const Command &command = *action.command;
    if (names_last(action) && !last.contains(command.record)) {
        return {false, "refused: nothing was made before"};
    }
    const int32_t last_id = names_last(action) ? last.at(command.record) : 0;
    Request request;
    request.code = command.code;
    request.payload = request_payload(action, device, last_id);
    const Reply reply = answer(device, request);
    const bool is_good = reply.result == RESULT_SUCCESS;
    if (is_good && command.answer == create_item) {
        last[command.record] = get_int(record_at(*command.record, reply.record), "id");
    }
    return {is_good, result_text(reply)};
}

/* The values begin to be shown. */
Outcome show_values(const Action &action, Device &device)
{
    const Record &record = *action.command->reply;
    const RecordBytes before = record_at(record, action.command->answer(device, {}).record);
    for (const auto &[key, text] : action.values) {
        ShownValue value = {.text = text, .seconds = action.seconds, .since = Clock::now()};
        if (const optional<Range> range = range_of(text); action.seconds > 0 && range) {
            value.from = decimal_of(range->from).value_or(get_number(before, key));
            value.to = *decimal_of(range->to);
        }
        device.shown[&record][key] = value;
    }
    return {true, "done"};
}

} // namespace

string parse_action(const string &text, double seconds, Action &action)
{
    string rest = text;
    const string word = take_word(rest);
    action = {};
    action.seconds = seconds;
    if (word.empty()) return "there is nothing to do";
    if (word.starts_with("CMD_")) return parse_command(word, rest, action);
    action.kind = word == "release" ? Action::ShowOwnValues : Action::ShowValues;
    if (word != "release" && find_report(word)) return parse_report(word, rest, action);
    if (seconds > 0) return "only the values of a report take time";
    if (word == "release") return parse_report(rest, "", action);
    if (word == "fault") return parse_fault(rest, action);
    action.kind = Action::ClearFaults;
    if (word == "clear") return rest.empty() ? "" : "clear takes nothing";
    return no_such("action or report", word);
}

Outcome carry_out(const Action &action, Device &device, FaultList &faults, LastMade &last)
{
    switch (action.kind) {
        case Action::RunCommand: return run_command(action, device, last);
        case Action::ShowValues: return show_values(action, device);
        case Action::ShowOwnValues: device.shown.erase(action.command->reply); break;
        case Action::AddFault: faults.add(action.fault); break;
        case Action::ClearFaults: faults.clear(); break;
    }
    return {true, "done"};
}

std::string actions_help()
{
    return "COMMAND                    a command of another client, as CMD_CHANNEL_STOP\n"
           "COMMAND ID                 CMD_STREAM_DEL 3; \"last\" is the one made last\n"
           "COMMAND KEY=VALUE; ...     CMD_STREAM_NEW name=Camera 7; port=5000\n"
           "REPORT KEY=VALUE; ...      what GET shows from now on, as zixi_stats jitter=40\n"
           "over TIME REPORT KEY=A..B  the value moves, as over 30s zixi_stats jitter=5..90\n"
           "release REPORT             it shows the device's own values again\n"
           "at TIME, every TIME        before a line: later, or again and again\n";
}
