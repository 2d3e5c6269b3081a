/* Figures that look alive. */
#pragma once

#include <span>

#include "simulator/device.h"

/* Swings between two values, once in `period` seconds. */
struct Swing {
    const char *key;
    double low, high, period;
};
void set_swings(RecordBytes &in, std::span<const Swing> swings, double seconds);

/* Grows by this much a second. */
struct Growth {
    const char *key;
    double per_second;
};
void set_growths(RecordBytes &in, std::span<const Growth> growths, double seconds);

double seconds_since(Clock::time_point start);
