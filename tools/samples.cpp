#include "tools/samples.h"

#include <chrono>

#include "simulator/commands.h"
#include "simulator/lifecycle.h"
#include "tools/recorder.h"

namespace {

/* The command that reads records of the kind; CMD_ACKNOWLEDGE when none does. */
uint32_t reading_command(const Record &record)
{
    for (size_t i = 0; i < route_count; ++i) {
        for (const Action &action : routes[i].actions) {
            const Description read = describe(action);
            const bool reads =
                read.answer == AnswerKind::ReadRecord || read.answer == AnswerKind::ReadList;
            if (reads && read.record == &record) return read.command;
        }
    }
    return 0;
}

} // namespace

std::map<std::string, std::string> sample_values(const Record &record)
{
    using std::chrono::system_clock;
    static Device device = factory_device({});
    /* At a fixed time, so that each run gives the same. */
    const auto shown =
        std::chrono::sys_days(std::chrono::year(2026) / 3 / 5) + std::chrono::hours(12);
    device.clock_offset = shown - system_clock::now();
    Request request;
    request.code = reading_command(record);
    const Bytes reply = answer(device, request).record;
    if (reply.size() < record.size) return {};
    const RecordBytes sample = record_at(record, reply);
    std::map<std::string, std::string> values;
    for (const Leaf &leaf : leaves(record)) values[leaf.key] = get_text(sample, leaf.key);
    return values;
}
