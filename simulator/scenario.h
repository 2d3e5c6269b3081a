/* A scenario: timed lines that let something happen to the device. */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/actions.h"

/* A line of a scenario. All times are seconds since its beginning. */
struct Step {
    double at = 0;
    double every = 0;            /* 0: just once */
    std::optional<double> until; /* no more from then on */
    bool repeats_all = false;    /* no action: the scenario starts again */
    Action action;
    std::string text; /* as it was written, without the times */
    size_t line = 0;  /* of the file; 0 when it was typed */
};

/* Reads "[at TIME] [every TIME] [until TIME] [over TIME] ACTION". Returns the
 * problem, empty when there is none. */
std::string parse_step(const std::string &line, Step &step);

class Scenario {
public:
    /* Reads a scenario file. Returns the problems, each with file and line. */
    std::vector<std::string> read(const std::string &path);

    /* Adds a step whose times count from `now`. */
    void add(const Step &step, double now);

    /* When the next step is due. */
    std::optional<double> next_time() const;

    /* Takes the first step that is due. */
    std::optional<Step> take_due(double now);

private:
    struct Pending {
        Step step;
        double begin; /* of the times */
        double due;
    };

    void add_all(double now);

    std::vector<Step> steps_;      /* of the file */
    std::vector<Pending> pending_; /* in the order in which they were added */
};
