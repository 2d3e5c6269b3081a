/* The table of the figures, each next to its bound. */
#pragma once

#include <string>

/* What the ratio is, and what it has to reach. */
struct Goal {
    enum { TIMES_THE_BOUND, AS_FAST_AS_THE_BOUND } ratio;
    double reach; /* at most, or at least */
};

void print_heading(const char *title, const char *unit);

/* Prints a figure next to its bound, both in the same unit, and their ratio. Returns whether it
 * reaches the goal. */
bool print_figure(const std::string &what, double figure, double bound, Goal goal);
