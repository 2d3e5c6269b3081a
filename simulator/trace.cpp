#include "simulator/trace.h"

#include <cstdio>

#include "simulator/answers.h"
#include "simulator/commands.h"
#include "simulator/format.h"
#include "simulator/rules.h"

namespace {

std::string outcome(const Reply &reply)
{
    if (reply.result != RESULT_SUCCESS)
        return format("refused: %s", printable(reply.reason).c_str());
    return reply.record.empty() ? "done" : format("done, %zu bytes", reply.record.size());
}

void print_fields(const Request &request, const Record &record)
{
    const size_t count = request.payload.size() / record.size;
    for (size_t i = 0; i < count; ++i) {
        const RecordBytes given = record_at(record, request.payload, i * record.size);
        const int index = count > 1 ? static_cast<int>(i) : no_request_index;
        for (const Leaf &leaf : leaves(record)) {
            printf("    %s = %s\n", form_parameter(leaf.key, index).c_str(),
                   printable(get_text(given, leaf.key)).c_str());
        }
    }
}

} // namespace

void trace_exchange(int verbosity, unsigned client, const Request &request, const Reply &reply,
                    const std::vector<Fault> &faults)
{
    if (verbosity < COMMANDS) return;
    const Record *record = request_record(request.code);
    std::string line = command_name(request.code);
    if (!record && request.payload.size() == id_request_size) {
        line += format(" %d", requested_id(request));
    }
    line += ": " + outcome(reply);
    for (const Fault &fault : faults) line += " [fault " + fault.text + "]";
    printf("client %u: %s\n", client, line.c_str());
    if (verbosity >= FIELDS && record) print_fields(request, *record);
}

void trace_client(int verbosity, unsigned client, const char *what)
{
    if (verbosity >= COMMANDS) printf("client %u: %s\n", client, what);
}
