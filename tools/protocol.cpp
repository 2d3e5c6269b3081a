#include <set>
#include <vector>

#include "simulator/format.h"
#include "sysmng/command.h"
#include "tools/documents.h"
#include "tools/recorder.h"

namespace {

struct Use {
    std::string route;
    Description does;
};

std::vector<Use> all_uses()
{
    std::vector<Use> uses;
    for (size_t i = 0; i < route_count; ++i) {
        for (const Action &action : routes[i].actions) {
            if (action.method == HTTP_METHOD_UNSET) continue;
            const Description does = describe(action);
            if (does.command) uses.push_back({readable_path(routes[i]), does});
        }
    }
    return uses;
}

std::string link_to(const Record *record)
{
    return record ? format("[%s](#%s)", record->name, record->name) : "";
}

std::string request_of(const Description &does)
{
    switch (does.answer) {
        case AnswerKind::ReadRecord:
        case AnswerKind::ReadList:
        case AnswerKind::RunCommand: return "";
        case AnswerKind::WriteIndexedRecords:
            return "up to " + std::to_string(does.most) + " of " + link_to(does.record);
        case AnswerKind::WriteRecord:
        case AnswerKind::WriteItem:
        case AnswerKind::CreateItem:
        case AnswerKind::SubmitRecord: return link_to(does.record);
        default: return "id, id";
    }
}

std::string reply_of(const Description &does)
{
    switch (does.answer) {
        case AnswerKind::ReadRecord:
        case AnswerKind::ReadRecordById:
        case AnswerKind::CreateItem: return link_to(does.record);
        case AnswerKind::ReadList: return "any number of " + link_to(does.record);
        case AnswerKind::SubmitRecord: return link_to(does.result);
        default: return "";
    }
}

std::string command_table()
{
    const std::vector<Use> uses = all_uses();
    std::string table =
        "| Code | Command | Path | Request | Record of the reply |\n|---|---|---|---|---|\n";
    for (uint32_t code = 0; code <= CMD_MAX_NUM; ++code) {
        bool is_used = false;
        for (const Use &use : uses) {
            if (use.does.command != code) continue;
            table +=
                format("| %u | `%s` | %s | %s | %s |\n", code, command_names[code],
                       use.route.c_str(), request_of(use.does).c_str(), reply_of(use.does).c_str());
            is_used = true;
        }
        if (!is_used) table += format("| %u | `%s` | | | |\n", code, command_names[code]);
    }
    return table;
}

const char *kind_name(FieldKind kind)
{
    switch (kind) {
        case FieldKind::Id:
        case FieldKind::Int32: return "i32";
        case FieldKind::Uint64: return "u64";
        case FieldKind::Float32: return "f32";
        case FieldKind::Flag: return "flag";
        case FieldKind::Flags: return "flags";
        case FieldKind::Matrix: return "flags, row by row";
        case FieldKind::Text: return "text";
        case FieldKind::Members:
        case FieldKind::Object: break;
    }
    return "record";
}

std::string record_table(const Record &record)
{
    std::string table =
        format("\n### %s\n\n%u bytes.\n\n| Offset | Width | Type | Field |\n|---|---|---|---|\n",
               record.name, record.size);
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        table += format("| %u | %u | %s | %s |\n", field.offset, field.width,
                        field.record ? link_to(field.record).c_str() : kind_name(field.kind),
                        field.key ? format("`%s`", field.key).c_str() : "");
    }
    return table;
}

/* The tables of a record and, once each, of those within it. */
std::string record_tables(const Record *record, std::set<const Record *> &shown)
{
    if (!record || !shown.insert(record).second) return "";
    std::string tables = record_table(*record);
    for (uint32_t i = 0; i < record->count; ++i) {
        tables += record_tables(record->fields[i].record, shown);
    }
    return tables;
}

std::string all_record_tables()
{
    std::set<const Record *> shown;
    std::string tables;
    for (const Use &use : all_uses()) {
        tables += record_tables(use.does.record, shown);
        tables += record_tables(use.does.result, shown);
    }
    return tables;
}

} // namespace

std::string daemon_protocol(const std::string &frame)
{
    std::string document = frame;
    const bool is_whole = replace_mark(document, "@COMMANDS@\n", command_table()) &&
                          replace_mark(document, "\n@RECORDS@\n", all_record_tables());
    return is_whole ? document : "";
}
