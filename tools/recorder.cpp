#include "tools/recorder.h"

#include "reply/answers.h"

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
    std::string path(route.path);
    if (path[0] != '^') return path;
    return path.substr(1, path.find('(') - 1) + "{id}";
}

handler_t read_record(server *, connection *, plugin_data *, uint32_t command, const Record &record)
{
    return record_call({AnswerKind::ReadRecord, command, &record});
}

handler_t read_record_by_id(server *, connection *, plugin_data *, uint32_t command,
                            const Record &record, int32_t)
{
    return record_call({AnswerKind::ReadRecordById, command, &record});
}

handler_t read_list(server *, connection *, plugin_data *, uint32_t command, const Record &record,
                    const char *)
{
    return record_call({AnswerKind::ReadList, command, &record});
}

handler_t write_record(server *, connection *, plugin_data *, uint32_t command,
                       const SentRecord &sent)
{
    return record_call({AnswerKind::WriteRecord, command, &sent.record});
}

handler_t write_item(server *, connection *, plugin_data *, uint32_t command,
                     const SentRecord &sent)
{
    return record_call({AnswerKind::WriteItem, command, &sent.record});
}

handler_t write_indexed_records(server *, connection *, plugin_data *, uint32_t command,
                                const SentRecord &sent, int most)
{
    return record_call({AnswerKind::WriteIndexedRecords, command, &sent.record, nullptr, most});
}

handler_t create_item(server *, connection *, plugin_data *, uint32_t command,
                      const SentRecord &sent)
{
    return record_call({AnswerKind::CreateItem, command, &sent.record});
}

handler_t submit_record(server *, connection *, plugin_data *, uint32_t command,
                        const SentRecord &sent, const Record &result)
{
    return record_call({AnswerKind::SubmitRecord, command, &sent.record, &result});
}

handler_t run_command(server *, connection *, plugin_data *, uint32_t command)
{
    return record_call({AnswerKind::RunCommand, command});
}

handler_t run_command_by_id(server *, connection *, plugin_data *, uint32_t command, int32_t)
{
    return record_call({AnswerKind::RunCommandById, command});
}

handler_t delete_item(server *, connection *, plugin_data *, uint32_t command, int32_t)
{
    return record_call({AnswerKind::DeleteItem, command});
}

handler_t answer_empty()
{
    return record_call({AnswerKind::AnswerEmpty});
}

handler_t answer_fixed(connection *, plugin_data *)
{
    return record_call({AnswerKind::AnswerFixed});
}
