#include <cstring>
#include <set>
#include <vector>

#include "simulator/format.h"
#include "tools/documents.h"
#include "tools/notes.h"
#include "tools/recorder.h"

namespace {

/* "stream_record": "StreamRecord". */
std::string type_name(const Record &record)
{
    std::string name;
    bool upper = true;
    for (const char c : std::string(record.name)) {
        if (c != '_') name += upper ? static_cast<char>(toupper(c)) : c;
        upper = c == '_';
    }
    return name;
}

std::string value_type(const Field &field)
{
    switch (field.kind) {
        case FieldKind::Id: return "Id";
        case FieldKind::Int32:
        case FieldKind::Uint64:
        case FieldKind::Float32: return "number";
        case FieldKind::Flag: return "boolean";
        case FieldKind::Flags: return "boolean[]";
        case FieldKind::Matrix: return "boolean[][]";
        case FieldKind::Text: return "string";
        case FieldKind::Members:
        case FieldKind::Object: break;
    }
    return type_name(*field.record);
}

std::string members(const Record &record)
{
    std::string text;
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        if (field.kind == FieldKind::Members) {
            text += members(*field.record);
            continue;
        }
        const std::string note = note_on(record, field.key);
        if (!note.empty()) text += "  /** " + note + " */\n";
        text += format("  %s: %s;\n", field.key, value_type(field).c_str());
    }
    return text;
}

/* The texts for the frame's marks. */
struct Parts {
    std::string records, reads, changes, creations, uploads;
    std::vector<std::string> commands, calls, deletions;
    std::set<const Record *> shown;
};

void add_record(Parts &parts, const Record *record)
{
    if (!record || !parts.shown.insert(record).second) return;
    for (uint32_t i = 0; i < record->count; ++i) {
        const Field &field = record->fields[i];
        if (field.kind == FieldKind::Object) add_record(parts, field.record);
    }
    if (!parts.records.empty()) parts.records += "\n";
    parts.records += "export interface " + type_name(*record) + " {\n" + members(*record) + "}\n";
}

/* "/api/stream/{id}": the part below /api, as a key and as a type. */
struct Path {
    std::string key, type;
};

Path path_of(const Route &route)
{
    std::string path = readable_path(route).substr(strlen("/api/"));
    const bool has_id = replace_mark(path, "{id}", "${number}");
    if (has_id) return {"[path: `" + path + "`]", "`" + path + "`"};
    return {"\"" + path + "\"", "\"" + path + "\""};
}

/* What a form brings or an answer holds. */
std::string content_type(const Description &does)
{
    const std::string name = type_name(*does.record);
    const bool is_list =
        does.answer == AnswerKind::ReadList || does.answer == AnswerKind::WriteIndexedRecords;
    if (is_list) return name + "[]";
    const bool is_read =
        does.answer == AnswerKind::ReadRecord || does.answer == AnswerKind::ReadRecordById;
    return is_read ? "[" + name + "]" : name;
}

std::string upload_type(const Description &does)
{
    return format("{ parameter: \"%s\"; result: %s }", does.record->fields[0].key,
                  type_name(*does.result).c_str());
}

void add_operation(Parts &parts, const Path &path, http_method_t method, const Description &does)
{
    const auto add = [&path](std::string &to, const std::string &type) {
        to += "  " + path.key + ": " + type + ";\n";
    };
    const bool is_upload = does.answer == AnswerKind::SubmitRecord;
    if (!is_upload) add_record(parts, does.record);
    add_record(parts, does.result);
    if (method == HTTP_METHOD_GET) {
        add(parts.reads, does.record ? content_type(does) : "[]");
    } else if (is_upload) {
        add(parts.uploads, upload_type(does));
    } else if (method == HTTP_METHOD_DELETE) {
        parts.deletions.push_back(path.type);
    } else if (!does.record) {
        (method == HTTP_METHOD_PUT ? parts.commands : parts.calls).push_back(path.type);
    } else {
        add(does.answer == AnswerKind::CreateItem ? parts.creations : parts.changes,
            content_type(does));
    }
}

std::string one_of(const std::vector<std::string> &types)
{
    std::string text;
    for (const std::string &type : types) text += (text.empty() ? "  | " : "\n  | ") + type;
    return text;
}

Parts all_parts()
{
    Parts parts;
    for (size_t i = 0; i < route_count; ++i) {
        for (const Action &action : routes[i].actions) {
            if (action.method == HTTP_METHOD_UNSET) continue;
            add_operation(parts, path_of(routes[i]), action.method, describe(action));
        }
    }
    return parts;
}

} // namespace

std::string client_types(const std::string &frame)
{
    const Parts parts = all_parts();
    const std::pair<const char *, std::string> marks[] = {
        {"@RECORDS@\n", parts.records},   {"@READS@\n", parts.reads},
        {"@CHANGES@\n", parts.changes},   {"@CREATIONS@\n", parts.creations},
        {"@UPLOADS@\n", parts.uploads},   {"@COMMANDS@", one_of(parts.commands)},
        {"@CALLS@", one_of(parts.calls)}, {"@DELETIONS@", one_of(parts.deletions)}};
    std::string document = frame;
    for (const auto &[mark, text] : marks) {
        if (!replace_mark(document, mark, text)) return "";
    }
    return document;
}
