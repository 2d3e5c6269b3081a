/* Sequences of events of requests in line for the daemon. */
#include "fuzz/support.h"
#include "tests/support/line_sequence.h"

void fuzz_one(FuzzedDataProvider &input)
{
    static LineSequence line;
    const auto choose = [&](size_t end) {
        return input.ConsumeIntegralInRange<size_t>(0, end - 1);
    };
    line.run(choose(13), choose);
}
