/* Answers requests. Faults change the replies, and a scenario changes the device
 * while time passes. */
#pragma once

#include <tuple>

#include "simulator/lifecycle.h"
#include "simulator/scenario.h"

struct DaemonOptions {
    DeviceOptions device;
    FaultList faults;
    Scenario scenario;
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
    explicit Daemon(const DaemonOptions &options);

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
    Bytes prepared_reply(const Request &request);
    void run(const Step &step);
    void trace(unsigned client, const Request &request, const Reply &reply,
               const std::vector<Fault> &faults) const;

    DaemonOptions options_;
    Clock::time_point started_ = Clock::now();
    Device device_;
    LastMade last_made_;
    /* By code, tag, length and first bytes of the request. */
    std::map<std::tuple<uint32_t, uint32_t, size_t, Bytes>, Bytes> prepared_;
};
