#include "simulator/scenario.h"

#include <algorithm>

#include "simulator/format.h"
#include "simulator/text_input.h"

namespace {

constexpr double shortest_period = 0.1, shortest_round = 1; /* seconds */

/* The times before an action. */
struct Times {
    std::optional<double> at, every, until, over;
};

std::optional<double> *find_time(Times &times, const std::string &word)
{
    if (word == "at") return &times.at;
    if (word == "every") return &times.every;
    if (word == "until") return &times.until;
    if (word == "over") return &times.over;
    return nullptr;
}

/* Takes the times off the line. */
std::string parse_times(std::string &line, Times &times)
{
    for (;;) {
        std::string rest = line;
        const std::string word = take_word(rest);
        std::optional<double> *time = find_time(times, word);
        if (!time) break;
        if (*time) return word + " is given twice";
        const std::string text = take_word(rest);
        *time = seconds_of(text);
        if (!*time) return word + " takes a time such as 10s, 500ms or 1m30s";
        line = rest;
    }
    if (times.every && *times.every < shortest_period) return "every takes 100ms at least";
    if (times.until && !times.every) return "until takes every";
    if (times.over == 0.0) return "over takes a time above 0";
    return "";
}

std::string parse_repeat(const Times &times, const std::string &rest, Step &step)
{
    step.repeats_all = true;
    const bool has_others = times.every || times.over || !rest.empty();
    if (has_others || step.at < shortest_round) return "repeat takes at alone, of 1s or more";
    return "";
}

} // namespace

std::string parse_step(const std::string &line, Step &step)
{
    std::string rest = line;
    Times times;
    std::string problem = parse_times(rest, times);
    if (!problem.empty()) return problem;
    step = {};
    step.every = times.every.value_or(0);
    step.at = times.at.value_or(step.every);
    step.until = times.until;
    step.text = (times.over ? format("over %gs ", *times.over) : "") + rest;
    std::string after = rest;
    if (take_word(after) == "repeat") return parse_repeat(times, after, step);
    return parse_action(rest, times.over.value_or(0), step.action);
}

std::vector<std::string> Scenario::read(const std::string &path)
{
    std::vector<std::string> lines, problems;
    const std::string unreadable = read_lines(path, lines);
    if (!unreadable.empty()) return {path + ": " + unreadable};
    for (size_t i = 0; i < lines.size(); ++i) {
        const std::string line = trimmed(lines[i]);
        if (line.empty() || line.starts_with('#')) continue;
        Step step;
        const std::string problem = parse_step(line, step);
        step.line = i + 1;
        steps_.push_back(step);
        if (problem.empty()) continue;
        problems.push_back(format("%s:%zu: ", path.c_str(), i + 1) + printable(problem));
    }
    add_all(0);
    return problems;
}

void Scenario::add_all(double now)
{
    for (const Step &step : steps_) add(step, now);
}

void Scenario::add(const Step &step, double now)
{
    pending_.push_back({step, now, now + step.at});
}

std::optional<double> Scenario::next_time() const
{
    std::optional<double> next;
    for (const Pending &one : pending_) next = std::min(next.value_or(one.due), one.due);
    return next;
}

std::optional<Step> Scenario::take_due(double now)
{
    const auto first =
        std::min_element(pending_.begin(), pending_.end(),
                         [](const Pending &a, const Pending &b) { return a.due < b.due; });
    if (first == pending_.end() || first->due > now) return {};
    const Pending taken = *first;
    constexpr double rounding = 1e-6; /* of the sums: the last time must not be lost by it */
    const double next = taken.due + taken.step.every;
    if (taken.step.repeats_all) {
        std::erase_if(pending_, [](const Pending &one) { return one.step.line > 0; });
        add_all(taken.due);
    } else if (taken.step.every > 0 &&
               next - rounding <= taken.begin + taken.step.until.value_or(next)) {
        first->due = next;
    } else {
        pending_.erase(first);
    }
    return taken.step;
}
