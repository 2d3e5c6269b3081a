#include "tools/recorder.h"

#include "module/patterns.h"

namespace {

Description called;

handler_t record_call(const Description &description)
{
    called = description;
    return HANDLER_GO_ON;
}

} // namespace

Description describe(const Action &action)
{
    called = {};
    if (action.handler) action.handler(nullptr, nullptr, nullptr);
    if (action.id_handler) action.id_handler(nullptr, nullptr, nullptr, 0);
    return called;
}

std::string readable_path(const Route &route)
{
    std::string path = route.path;
    if (path[0] != '^') return path;
    return path.substr(1, path.find('(') - 1) + "{id}";
}

handler_t read_record(server *, connection *, plugin_data *, uint32_t command, const Record &record)
{
    return record_call({Pattern::ReadRecord, command, &record});
}

handler_t read_record_by_id(server *, connection *, plugin_data *, uint32_t command,
                            const Record &record, int32_t)
{
    return record_call({Pattern::ReadRecordById, command, &record});
}

handler_t read_list(server *, connection *, plugin_data *, uint32_t command, const Record &record,
                    const char *)
{
    return record_call({Pattern::ReadList, command, &record});
}

handler_t write_record(server *, connection *, plugin_data *, uint32_t command,
                       const Record &record)
{
    return record_call({Pattern::WriteRecord, command, &record});
}

handler_t write_item(server *, connection *, plugin_data *, uint32_t command, const Record &record)
{
    return record_call({Pattern::WriteItem, command, &record});
}

handler_t write_indexed_records(server *, connection *, plugin_data *, uint32_t command,
                                const Record &record, int most)
{
    return record_call({Pattern::WriteIndexedRecords, command, &record, nullptr, most});
}

handler_t create_item(server *, connection *, plugin_data *, uint32_t command, const Record &record)
{
    return record_call({Pattern::CreateItem, command, &record});
}

handler_t submit_record(server *, connection *, plugin_data *, uint32_t command,
                        const Record &record, const Record &result)
{
    return record_call({Pattern::SubmitRecord, command, &record, &result});
}

handler_t run_command(server *, connection *, plugin_data *, uint32_t command)
{
    return record_call({Pattern::RunCommand, command});
}

handler_t run_command_by_id(server *, connection *, plugin_data *, uint32_t command, int32_t)
{
    return record_call({Pattern::RunCommandById, command});
}

handler_t delete_item(server *, connection *, plugin_data *, uint32_t command, int32_t)
{
    return record_call({Pattern::DeleteItem, command});
}

handler_t answer_empty()
{
    return record_call({Pattern::AnswerEmpty});
}

handler_t answer_fixed(connection *, plugin_data *)
{
    return record_call({Pattern::AnswerFixed});
}
