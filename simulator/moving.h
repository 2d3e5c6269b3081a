/* Figures that change with time. */
#pragma once

#include <cmath>
#include <span>

#include "simulator/record_values.h"

/* Swings between two values, once in `period` seconds. */
struct Swing {
    const char *key;
    double low, high, period;
};

/* Grows by this much a second. */
struct Growth {
    const char *key;
    double per_second;
};

inline void set_swings(RecordBytes &in, std::span<const Swing> swings, double seconds)
{
    constexpr double full_turn = 6.283185307179586;
    for (const Swing &swing : swings) {
        const double at = 0.5 + 0.5 * std::sin(full_turn * seconds / swing.period);
        set_number(in, swing.key, swing.low + (swing.high - swing.low) * at);
    }
}

inline void set_growths(RecordBytes &in, std::span<const Growth> growths, double seconds)
{
    for (const Growth &growth : growths) set_number(in, growth.key, growth.per_second * seconds);
}
