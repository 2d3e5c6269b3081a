#include "tools/schemas.h"

#include "tools/notes.h"
#include "tools/samples.h"

namespace {

using Texts = std::map<std::string, std::string>;

/* Records in answers */

Json value_schema(const Field &field, Json &schemas)
{
    Json boolean = {{"type", "boolean"}};
    switch (field.kind) {
        case FieldKind::Id: return {{"type", "string"}, {"pattern", "^-?[0-9]+$"}};
        case FieldKind::Int32: return {{"type", "integer"}, {"format", "int32"}};
        case FieldKind::Uint64:
            return {{"type", "integer"}, {"minimum", 0}, {"maximum", UINT64_MAX}};
        case FieldKind::Float32: return {{"type", "number"}};
        case FieldKind::Flag: return boolean;
        case FieldKind::Flags: return array_of(boolean, field.width);
        case FieldKind::Matrix:
            return array_of(array_of(boolean, field.width / field.rows), field.rows);
        case FieldKind::Text: return {{"type", "string"}, {"maxLength", field.width - 1}};
        case FieldKind::Members:
        case FieldKind::Object: break;
    }
    return answer_schema(*field.record, schemas);
}

void add_note(Json &schema, const Record &record, const Field &field)
{
    const std::string note = note_on(record, field.key);
    if (!note.empty()) schema["description"] = note;
}

void add_properties(Json &object, const Record &record, Json &schemas)
{
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        if (field.kind == FieldKind::Members) {
            add_properties(object, *field.record, schemas);
            continue;
        }
        object["required"].push_back(field.key);
        object["properties"][field.key] = value_schema(field, schemas);
        add_note(object["properties"][field.key], record, field);
    }
}

/* Records in forms */

/* One value of the field in a form. An absent parameter has
 * its default. */
Json parameter_schema(const Record &record, const Field &field)
{
    Json schema;
    switch (field.kind) {
        case FieldKind::Id: schema = {{"type", "string"}, {"default", "-1"}}; break;
        case FieldKind::Int32:
            schema = {{"type", "integer"}, {"format", "int32"}, {"default", -1}};
            break;
        case FieldKind::Text:
            schema = {{"type", "string"}, {"maxLength", field.width - 1}, {"default", ""}};
            break;
        default: schema = {{"type", "boolean"}, {"default", false}};
    }
    add_note(schema, record, field);
    return schema;
}

Json example_of(const Field &field, const std::string &value, uint32_t at)
{
    switch (field.kind) {
        case FieldKind::Int32: return std::stoi(value);
        case FieldKind::Id:
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

/* "stream_record": "stream_form". */
std::string form_name(const Record &record)
{
    const std::string name = record.name;
    return name.substr(0, name.rfind("_record")) + "_form";
}

/* What there is to say of each key with an index: that its brackets stay as
 * they are. Of texts it can't be said: their values would stay as they are, too. */
Json encoding_of(const Json &form)
{
    Json encoding;
    for (const auto &[name, parameter] : form["properties"].items()) {
        if (name.find('[') == std::string::npos) continue;
        encoding[name] = {{"style", "form"}, {"explode", true}};
        if (parameter["type"] != "string") encoding[name]["allowReserved"] = true;
    }
    return encoding;
}

/* The schema itself, where it is a reference or more than one. */
const Json &resolved(const Json &schema, const Json &schemas)
{
    if (schema.contains("allOf")) return resolved(schema["allOf"][0], schemas);
    if (!schema.contains("$ref")) return schema;
    const std::string name = schema["$ref"];
    return schemas[name.substr(name.rfind('/') + 1)];
}

} // namespace

Json reference(const std::string &kind, const std::string &name)
{
    return {{"$ref", "#/components/" + kind + "/" + name}};
}

Json array_of(const Json &items, uint32_t count)
{
    return {{"type", "array"}, {"minItems", count}, {"maxItems", count}, {"items", items}};
}

Json answer_schema(const Record &record, Json &schemas)
{
    if (!schemas.contains(record.name)) {
        Json object = {{"type", "object"}, {"additionalProperties", false}};
        add_properties(object, record, schemas);
        schemas[record.name] = object;
    }
    return reference("schemas", record.name);
}

Json form_schema(const Record &record, Json &schemas)
{
    const Texts samples = sample_values(record);
    Json form = {{"type", "object"}};
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        const auto sample = samples.find(field.key);
        uint32_t at = 0;
        for (const std::string &name : parameter_names(field)) {
            Json parameter = parameter_schema(record, field);
            if (sample != samples.end()) {
                parameter["examples"] = {example_of(field, sample->second, at++)};
            }
            form["properties"][name] = parameter;
        }
    }
    schemas[form_name(record)] = form;
    return reference("schemas", form_name(record));
}

/* A form with the parameters of each record after an index. Of the first one
 * they are listed. */
Json indexed_form_schema(const Record &record, Json &schemas)
{
    const Texts samples = sample_values(record);
    Json form = {{"type", "object"}, {"required", {"id[0]"}}};
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        const std::string key = field.key;
        const auto sample = samples.find(key);
        Json first = parameter_schema(record, field);
        form["patternProperties"]["^" + key + "\\[[0-9]+\\]$"] = first;
        if (sample != samples.end()) first["examples"] = {example_of(field, sample->second, 0)};
        form["properties"][key + "[0]"] = first;
    }
    form["additionalProperties"] = {{"type", {"string", "integer", "boolean"}}};
    schemas[form_name(record)] = form;
    return reference("schemas", form_name(record));
}

/* Multipart comes first: generators take the first one, and in it they leave
 * brackets, blanks and plus signs alone. */
Json form_content(const Json &schema, const Json &schemas)
{
    Json content;
    content["multipart/form-data"] = {{"schema", schema}};
    content["application/x-www-form-urlencoded"] = {{"schema", schema}};
    const Json encoding = encoding_of(resolved(schema, schemas));
    if (!encoding.is_null()) content["application/x-www-form-urlencoded"]["encoding"] = encoding;
    return content;
}

/* A file, or the path of one that the device has. */
Json upload_content(const Record &record, Json &schemas)
{
    Json content;
    Json &multipart = content["multipart/form-data"];
    multipart["schema"] = {{"type", "object"}};
    for (uint32_t i = 0; i < record.count; ++i) {
        const char *key = record.fields[i].key;
        multipart["schema"]["required"].push_back(key);
        multipart["schema"]["properties"][key] = {{"type", "string"}, {"format", "binary"}};
        multipart["encoding"][key] = {{"contentType", "application/octet-stream"}};
    }
    content["application/x-www-form-urlencoded"] = {{"schema", form_schema(record, schemas)}};
    return content;
}
