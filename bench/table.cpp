#include "bench/table.h"

#include <cstdio>

void print_heading(const char *title, const char *unit)
{
    printf("\n%-52s %11s %11s %7s  %-8s\n", title, unit, "bound", "ratio", "reach");
}

bool print_figure(const std::string &what, double figure, double bound, Goal goal)
{
    const bool speed = goal.ratio == Goal::AS_FAST_AS_THE_BOUND;
    const double ratio = speed ? bound / figure : figure / bound;
    const bool reached = speed ? ratio >= goal.reach : ratio <= goal.reach;
    printf("%-52s %11.1f %11.1f %7.2f  %s %-5.4g %s\n", what.c_str(), figure, bound, ratio,
           speed ? ">=" : "<=", goal.reach, reached ? "ok" : "NOT REACHED");
    fflush(stdout);
    return reached;
}
