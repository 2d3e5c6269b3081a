#include <cctype>

#include "sysmng/command.h"
#include "tools/documents.h"
#include "tools/notes.h"
#include "tools/recorder.h"
#include "tools/schemas.h"

namespace {

Json answer_of(const std::string &description, const Json &schema)
{
    return {{"description", description}, {"content", {{"text/json", {{"schema", schema}}}}}};
}

Json single(const Json &schema)
{
    return array_of(schema, 1);
}

void add_failures(Json &responses, bool is_item, const char *no_room)
{
    if (is_item) responses["404"] = reference("responses", "not_found");
    responses["408"] = reference("responses", "timeout");
    if (!is_item) responses["500"] = reference("responses", "failed");
    responses["507"] = reference("responses", no_room);
}

/* An item's own id says which one is changed. */
Json item_form(const Record &record, Json &schemas)
{
    const Json id = {{"type", "string"}, {"description", "Says which one is changed."}};
    const Json more = {{"type", "object"}, {"required", {"id"}}, {"properties", {{"id", id}}}};
    return {{"allOf", {form_schema(record, schemas), more}}};
}

Json content_of(const Description &does, Json &schemas)
{
    switch (does.answer) {
        case AnswerKind::WriteRecord:
        case AnswerKind::CreateItem:
            return form_content(form_schema(*does.record, schemas), schemas);
        case AnswerKind::WriteItem: return form_content(item_form(*does.record, schemas), schemas);
        case AnswerKind::WriteIndexedRecords:
            return form_content(indexed_form_schema(*does.record, schemas), schemas);
        case AnswerKind::SubmitRecord: return upload_content(*does.record, schemas);
        default: return nullptr;
    }
}

Json responses_of(const Description &does, Json &schemas)
{
    Json all = Json::object();
    switch (does.answer) {
        case AnswerKind::AnswerEmpty: all["200"] = reference("responses", "empty"); return all;
        case AnswerKind::AnswerFixed: all["200"] = reference("responses", "fixed"); return all;
        case AnswerKind::ReadRecord:
        case AnswerKind::ReadRecordById:
            all["200"] = answer_of("The record.", single(answer_schema(*does.record, schemas)));
            add_failures(all, does.answer == AnswerKind::ReadRecordById, "no_room");
            return all;
        case AnswerKind::ReadList:
            all["200"] =
                answer_of("All of them.",
                          {{"type", "array"}, {"items", answer_schema(*does.record, schemas)}});
            add_failures(all, false, "no_room");
            return all;
        case AnswerKind::CreateItem:
            all["201"] =
                answer_of("What was created.", single(answer_schema(*does.record, schemas)));
            all["400"] = reference("responses", "refused");
            add_failures(all, false, "list_too_long");
            return all;
        case AnswerKind::SubmitRecord: {
            const Json result = single(answer_schema(*does.result, schemas));
            all["200"] = answer_of("The daemon took the file.", result);
            all["400"] = answer_of("The daemon refused the file.", result);
            add_failures(all, false, "no_room");
            return all;
        }
        case AnswerKind::WriteRecord:
        case AnswerKind::WriteIndexedRecords:
            all["204"] = reference("responses", "done");
            all["400"] = reference("responses", "refused");
            add_failures(all, false, "list_too_long");
            return all;
        case AnswerKind::WriteItem:
        case AnswerKind::DeleteItem:
        case AnswerKind::RunCommand:
        case AnswerKind::RunCommandById: break;
    }
    all["204"] = reference("responses", "done");
    const bool is_item =
        does.answer == AnswerKind::WriteItem || does.answer == AnswerKind::DeleteItem;
    add_failures(all, is_item, "no_room");
    return all;
}

const char *method_name(http_method_t method)
{
    switch (method) {
        case HTTP_METHOD_GET: return "get";
        case HTTP_METHOD_POST: return "post";
        case HTTP_METHOD_PUT: return "put";
        case HTTP_METHOD_DELETE: return "delete";
        default: return "";
    }
}

const char *verb(AnswerKind answer)
{
    switch (answer) {
        case AnswerKind::ReadRecord:
        case AnswerKind::ReadRecordById: return "Read";
        case AnswerKind::ReadList: return "List";
        case AnswerKind::WriteRecord:
        case AnswerKind::WriteItem:
        case AnswerKind::WriteIndexedRecords: return "Change";
        case AnswerKind::CreateItem: return "Create";
        case AnswerKind::SubmitRecord: return "Upload";
        case AnswerKind::DeleteItem: return "Delete";
        case AnswerKind::RunCommand:
        case AnswerKind::RunCommandById: return "Run";
        case AnswerKind::AnswerEmpty:
        case AnswerKind::AnswerFixed: break;
    }
    return "No effect";
}

constexpr const char *whole_record =
    "Writes the whole record: what the form leaves out is not kept, but becomes -1, false or an "
    "empty text. To change a part of it, read the record and send all of it.";

/* What holds for every operation of the kind. */
std::string explanation(const Description &does)
{
    switch (does.answer) {
        case AnswerKind::ReadRecord:
        case AnswerKind::ReadRecordById: return "A list with this one record.";
        case AnswerKind::ReadList: return "A list of any length, in the order of the daemon.";
        case AnswerKind::WriteRecord: return whole_record;
        case AnswerKind::WriteItem:
            return whole_record + std::string(
                                      " The id in the form says which one is changed, not "
                                      "the one in the path. A refusal has no reasons.");
        case AnswerKind::WriteIndexedRecords:
            return "Each key carries the index of its record: id[0], id[1] and so on. The records "
                   "are taken from index 0 up to the first one without an id, at most " +
                   std::to_string(does.most) + " of them. " + whole_record;
        case AnswerKind::CreateItem:
            return "What the form leaves out becomes -1, false or an empty text. The answer is a "
                   "list with the record that the device made of it.";
        case AnswerKind::SubmitRecord:
            return "The file is stored under /mnt/data by the last part of its name, and replaces "
                   "one of the same name, before the daemon is asked. A name with a percent sign "
                   "is not found again. Without a file, the form can bring the path of one that "
                   "the device has.";
        case AnswerKind::DeleteItem:
        case AnswerKind::RunCommand:
        case AnswerKind::RunCommandById: return "A command without a form.";
        case AnswerKind::AnswerEmpty:
        case AnswerKind::AnswerFixed: break;
    }
    return "The request is accepted, and nothing happens.";
}

/* "/api/stream/select/{id}": "stream select". */
std::string words_of(const std::string &path)
{
    std::string words;
    for (const char c : path.substr(std::string("/api/").size(), path.find("/{") - 5)) {
        words += c == '/' ? ' ' : c;
    }
    return words;
}

std::string operation_name(const char *method, const std::string &path)
{
    std::string name = method;
    bool upper = true;
    for (const char c : path.substr(4)) {
        if (!isalnum(c)) {
            upper = true;
            continue;
        }
        name += upper ? static_cast<char>(toupper(c)) : c;
        upper = false;
    }
    return name;
}

/* Summary and description. */
void add_words(Json &operation, const std::string &words, const Description &does)
{
    const OperationNote *note = note_on(operation["operationId"]);
    std::string summary = verb(does.answer) + (": " + words), text = explanation(does);
    if (note) {
        summary = note->summary;
        if (*note->more) text += std::string(" ") + note->more;
    }
    operation["summary"] = summary;
    operation["description"] = text;
}

Json operation(const Route &route, const Action &action, Json &schemas)
{
    const std::string path = readable_path(route), words = words_of(path);
    const Description does = describe(action);
    Json made = {{"operationId", operation_name(method_name(action.method), path)}};
    add_words(made, words, does);
    made["tags"] = {words.substr(0, words.find(' '))};
    if (does.command) {
        made["x-command"] = {{"name", command_names[does.command]}, {"code", does.command}};
    }
    const Json content = content_of(does, schemas);
    if (!content.is_null()) made["requestBody"] = {{"required", true}, {"content", content}};
    made["responses"] = responses_of(does, schemas);
    const Json allow = {{"type", "string"}, {"const", route.allow}};
    made["responses"]["405"] = {{"description", "For any other method. There is no body."},
                                {"headers", {{"Allow", {{"schema", allow}}}}}};
    made["responses"]["default"] = reference("responses", "server");
    return made;
}

Json path_item(const Route &route, Json &schemas)
{
    Json item = Json::object();
    if (route.path[0] == '^') {
        item["parameters"] = {{{"name", "id"},
                               {"in", "path"},
                               {"required", true},
                               {"description", "the id that the list shows"},
                               {"schema", {{"type", "string"}, {"pattern", "^[0-9]+$"}}},
                               {"example", "1"}}};
    }
    for (const Action &action : route.actions) {
        if (action.method == HTTP_METHOD_UNSET) continue;
        item[method_name(action.method)] = operation(route, action, schemas);
    }
    return item;
}

/* Says what is wrong; nothing is left to do then. */
bool has_stale_note(const Json &paths)
{
    std::set<std::string> operations;
    for (const Json &item : paths) {
        for (const Json &one : item) {
            if (one.contains("operationId")) operations.insert(one["operationId"]);
        }
    }
    const std::string note = stale_note(operations);
    if (!note.empty()) fprintf(stderr, "tools/notes.cpp: there is no %s\n", note.c_str());
    return !note.empty();
}

} // namespace

std::string openapi_json(const std::string &frame)
{
    Json document = Json::parse(frame, nullptr, false);
    if (!document.is_object()) return "";
    document["info"]["version"] = PRODUCT_VERSION;
    Json paths = Json::object();
    Json &schemas = document["components"]["schemas"];
    for (size_t i = 0; i < route_count; ++i) {
        paths[readable_path(routes[i])] = path_item(routes[i], schemas);
    }
    if (has_stale_note(paths)) return "";
    document["paths"] = paths;
    return document.dump(2) + "\n";
}
