#include "simulator/moving.h"

#include <cmath>

void set_swings(RecordBytes &in, std::span<const Swing> swings, double seconds)
{
    constexpr double full_turn = 6.283185307179586;
    for (const Swing &swing : swings) {
        const double at = 0.5 + 0.5 * std::sin(full_turn * seconds / swing.period);
        set_number(in, swing.key, swing.low + (swing.high - swing.low) * at);
    }
}

void set_growths(RecordBytes &in, std::span<const Growth> growths, double seconds)
{
    for (const Growth &growth : growths) set_number(in, growth.key, growth.per_second * seconds);
}

double seconds_since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}
