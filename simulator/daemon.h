/* Answers requests, by the device or from a recording. Faults change the
 * replies, and a scenario changes the device while time passes. */
#pragma once

#include <set>
#include <tuple>

#include "simulator/lifecycle.h"
#include "simulator/recording.h"
#include "simulator/scenario.h"

struct DaemonOptions {
    DeviceOptions device;
    FaultList faults;
    Scenario scenario;
    Replay replay;     /* answers when it is not empty */
    int verbosity = 0; /* 1: a line for every command; 2: its request's fields, too */
    bool fast = false; /* prepared replies: no state, and nothing is printed */
};

/* What is to be sent, and when. */
struct Delivery {
    Bytes bytes; /* of a reply; empty: silence */
    std::chrono::milliseconds delay{};
    bool close = false; /* the connection ends, instead of the reply */
};

/* Not for two threads at once. */
class Daemon {
public:
    /* The recorder is open when the session is to be recorded. */
    Daemon(const DaemonOptions &options, Recorder &recorder);

    Delivery respond(unsigned client, const Request &request);

    /* Carries out a line that a developer typed, and returns what to print. */
    std::string control(const std::string &line);

    /* How long until a step of the scenario is due, if there is one. */
    std::optional<Clock::duration> until_next_step() const;
    void run_due_steps();

    void trace(unsigned client, const std::string &what) const;

private:
    double now() const;
    Reply carried_out(const Request &request, const std::vector<Fault> &faults);
    Reply replayed(const Request &request);
    Bytes prepared_reply(const Request &request);
    void run(const Step &step);
    void trace(unsigned client, const Request &request, const Reply &reply,
               const std::vector<Fault> &faults) const;

    DaemonOptions options_;
    Recorder &recorder_;
    Clock::time_point started_ = Clock::now();
    Device device_;
    LastMade last_made_;
    std::set<std::pair<uint32_t, Bytes>> not_recorded_; /* requests, each told once */
    /* By code, tag, length and first bytes of the request. */
    std::map<std::tuple<uint32_t, uint32_t, size_t, Bytes>, Bytes> prepared_;
};
