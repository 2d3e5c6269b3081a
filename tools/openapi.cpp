#include <cctype>
#include <nlohmann/json.hpp>

#include "sysmng/command.h"
#include "tools/documents.h"
#include "tools/recorder.h"
#include "tools/samples.h"

namespace {

using Json = nlohmann::ordered_json;
using Texts = std::map<std::string, std::string>;

Json reference(const std::string &kind, const std::string &name)
{
    return {{"$ref", "#/components/" + kind + "/" + name}};
}

/* Records in answers */

Json object_schema(const Record &record, Json &schemas);

Json array_of(const Json &items, uint32_t count)
{
    return {{"type", "array"}, {"minItems", count}, {"maxItems", count}, {"items", items}};
}

Json value_schema(const Field &field, Json &schemas)
{
    Json boolean = {{"type", "boolean"}};
    switch (field.kind) {
        case FieldKind::Id: return {{"type", "string"}, {"pattern", "^-?[0-9]+$"}};
        case FieldKind::Int32: return {{"type", "integer"}, {"format", "int32"}};
        case FieldKind::Uint64:
            return {{"type", "integer"}, {"minimum", 0}, {"maximum", UINT64_MAX}};
        case FieldKind::Float32:
            return {{"type", "number"}, {"description", "with one digit after the point"}};
        case FieldKind::Flag: return boolean;
        case FieldKind::Flags: return array_of(boolean, field.width);
        case FieldKind::Matrix:
            return array_of(array_of(boolean, field.width / field.rows), field.rows);
        case FieldKind::Text: return {{"type", "string"}, {"maxLength", field.width}};
        case FieldKind::Members:
        case FieldKind::Object: break;
    }
    object_schema(*field.record, schemas);
    return reference("schemas", field.record->name);
}

void add_properties(Json &object, const Record &record, Json &schemas)
{
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        if (field.kind == FieldKind::Members) {
            add_properties(object, *field.record, schemas);
        } else {
            object["required"].push_back(field.key);
            object["properties"][field.key] = value_schema(field, schemas);
        }
    }
}

/* Puts the record among the schemas and returns a reference to it. */
Json object_schema(const Record &record, Json &schemas)
{
    if (!schemas.contains(record.name)) {
        Json object = {{"type", "object"}, {"additionalProperties", false}};
        add_properties(object, record, schemas);
        schemas[record.name] = object;
    }
    return reference("schemas", record.name);
}

/* Records in forms */

/* What stands in a form for one value of the field. An absent parameter has
 * its default. */
Json parameter_schema(const Field &field)
{
    switch (field.kind) {
        case FieldKind::Id:
        case FieldKind::Int32: return {{"type", "integer"}, {"format", "int32"}, {"default", -1}};
        case FieldKind::Text:
            return {{"type", "string"}, {"maxLength", field.width - 1}, {"default", ""}};
        default:
            return {{"type", "boolean"},
                    {"default", false},
                    {"description", "true for \"true\" and \"1\" only"}};
    }
}

Json example_of(const Field &field, const std::string &value, uint32_t at)
{
    switch (field.kind) {
        case FieldKind::Id:
        case FieldKind::Int32: return std::stoi(value);
        case FieldKind::Text: return value;
        case FieldKind::Flag: return value == "true";
        default: return value[at] == '1';
    }
}

/* The parameters' names: name, name[i] or name[i][j]. */
std::vector<std::string> parameter_names(const Field &field)
{
    const auto indexed = [](const std::string &name, uint32_t index) {
        return name + "[" + std::to_string(index) + "]";
    };
    if (field.kind != FieldKind::Flags && field.kind != FieldKind::Matrix) return {field.key};
    const uint32_t rows = field.kind == FieldKind::Matrix ? field.rows : 1;
    const uint32_t columns = field.width / rows;
    std::vector<std::string> names;
    for (uint32_t i = 0; i < rows; ++i) {
        const std::string row = rows > 1 ? indexed(field.key, i) : field.key;
        for (uint32_t j = 0; j < columns; ++j) names.push_back(indexed(row, j));
    }
    return names;
}

Json form_schema(const Record &record)
{
    const Texts samples = sample_values(record);
    Json form = {{"type", "object"}};
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        const auto sample = samples.find(field.key);
        uint32_t at = 0;
        for (const std::string &name : parameter_names(field)) {
            Json parameter = parameter_schema(field);
            if (sample != samples.end()) {
                parameter["examples"] = {example_of(field, sample->second, at++)};
            }
            form["properties"][name] = parameter;
        }
    }
    return form;
}

/* A form with the parameters of each record behind an index. */
Json indexed_form_schema(const Record &record, int most)
{
    const Texts samples = sample_values(record);
    Json form = {{"type", "object"},
                 {"description", "One record for each index from 0 up whose id is given, at most " +
                                     std::to_string(most) + "."}};
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        const std::string key = field.key;
        const auto sample = samples.find(key);
        Json first = parameter_schema(field);
        form["patternProperties"]["^" + key + "\\[[0-9]+\\]$"] = first;
        if (sample != samples.end()) first["examples"] = {example_of(field, sample->second, 0)};
        form["properties"][key + "[0]"] = first;
    }
    return form;
}

Json upload_schema(const Record &record)
{
    Json form = {{"type", "object"}};
    for (uint32_t i = 0; i < record.count; ++i) {
        form["properties"][record.fields[i].key] = {
            {"type", "string"},
            {"contentMediaType", "application/octet-stream"},
            {"description", "the file, with its name; it is stored before the command is sent"}};
    }
    return form;
}

/* Operations */

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

Json form_body(const Json &schema)
{
    return {{"content", {{"application/x-www-form-urlencoded", {{"schema", schema}}}}}};
}

/* A file, or the path of one that the device has. */
Json upload_body(const Record &record)
{
    Json body = form_body(form_schema(record));
    body["content"]["multipart/form-data"]["schema"] = upload_schema(record);
    return body;
}

Json body_of(const Description &does)
{
    switch (does.pattern) {
        case Pattern::WriteRecord:
        case Pattern::WriteItem:
        case Pattern::CreateItem: return form_body(form_schema(*does.record));
        case Pattern::WriteIndexedRecords:
            return form_body(indexed_form_schema(*does.record, does.most));
        case Pattern::SubmitRecord: return upload_body(*does.record);
        default: return nullptr;
    }
}

Json responses_of(const Description &does, Json &schemas)
{
    Json all = Json::object();
    switch (does.pattern) {
        case Pattern::AnswerEmpty: all["200"] = reference("responses", "empty"); return all;
        case Pattern::AnswerFixed: all["200"] = reference("responses", "fixed"); return all;
        case Pattern::ReadRecord:
        case Pattern::ReadRecordById:
            all["200"] = answer_of("The record.", single(object_schema(*does.record, schemas)));
            add_failures(all, does.pattern == Pattern::ReadRecordById, "no_room");
            return all;
        case Pattern::ReadList:
            all["200"] =
                answer_of("All of them.",
                          {{"type", "array"}, {"items", object_schema(*does.record, schemas)}});
            add_failures(all, false, "no_room");
            return all;
        case Pattern::CreateItem:
            all["201"] =
                answer_of("What was created.", single(object_schema(*does.record, schemas)));
            all["400"] = reference("responses", "refused");
            add_failures(all, false, "list_too_long");
            return all;
        case Pattern::SubmitRecord: {
            const Json result = single(object_schema(*does.result, schemas));
            all["200"] = answer_of("The daemon took the file.", result);
            all["400"] = answer_of("The daemon refused the file.", result);
            add_failures(all, false, "no_room");
            return all;
        }
        case Pattern::WriteRecord:
        case Pattern::WriteIndexedRecords:
            all["204"] = reference("responses", "done");
            all["400"] = reference("responses", "refused");
            add_failures(all, false, "list_too_long");
            return all;
        case Pattern::WriteItem:
        case Pattern::DeleteItem:
        case Pattern::RunCommand:
        case Pattern::RunCommandById: break;
    }
    all["204"] = reference("responses", "done");
    const bool is_item = does.pattern == Pattern::WriteItem || does.pattern == Pattern::DeleteItem;
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

const char *verb(Pattern pattern)
{
    switch (pattern) {
        case Pattern::ReadRecord:
        case Pattern::ReadRecordById: return "Read";
        case Pattern::ReadList: return "List";
        case Pattern::WriteRecord:
        case Pattern::WriteItem:
        case Pattern::WriteIndexedRecords: return "Change";
        case Pattern::CreateItem: return "Create";
        case Pattern::SubmitRecord: return "Upload";
        case Pattern::DeleteItem: return "Delete";
        case Pattern::RunCommand:
        case Pattern::RunCommandById: return "Run";
        case Pattern::AnswerEmpty:
        case Pattern::AnswerFixed: break;
    }
    return "Accept";
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

Json operation(const Route &route, const Action &action, Json &schemas)
{
    const std::string path = readable_path(route), words = words_of(path);
    const Description does = describe(action);
    Json made = {{"operationId", operation_name(method_name(action.method), path)},
                 {"summary", verb(does.pattern) + (": " + words)},
                 {"tags", {words.substr(0, words.find(' '))}}};
    if (does.command) {
        made["x-command"] = {{"name", command_names[does.command]}, {"code", does.command}};
    }
    const Json body = body_of(does);
    if (!body.is_null()) made["requestBody"] = body;
    made["responses"] = responses_of(does, schemas);
    made["responses"]["405"] = {{"description", "For any other method. There is no body."},
                                {"headers", {{"Allow", {{"schema", {{"const", route.allow}}}}}}}};
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
    document["paths"] = paths;
    return document.dump(2) + "\n";
}
