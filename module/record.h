/* Daemon records, declared as tables. A record is packed: its fields follow
 * each other without a gap, so the order of the table is the layout. A field's
 * key is its form parameter and its JSON key. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "module/text.h"
#include "server/lighttpd.h"

enum class FieldKind : uint8_t {
    Id, /* int32, a decimal inside quotes in JSON */
    Int32,
    Uint64,
    Float32, /* IEEE 754 single, one digit after the point in JSON */
    Flag,    /* one byte, true when it is not 0 */
    Flags,   /* an array of flags, name[i] */
    Matrix,  /* an array of arrays of flags, name[i][j] */
    Text,    /* fixed width, ends at its first NUL */
    Members, /* another record's fields, as if they stood here */
    Object   /* another record as a nested JSON object */
};

struct Record;

/* What stands between the quote in front of a field's key and its value in
 * JSON, written out while compiling: the key, its colon and the quote in front
 * of a quoted value. */
struct Lead {
    char text[32];
    uint8_t length;
};

struct Field {
    const char *key;      /* null for Members */
    const Record *record; /* Members and Object */
    uint32_t width;       /* bytes in the record */
    FieldKind kind;
    uint8_t rows; /* Matrix */
    Lead lead;
};

struct Record {
    const char *name;
    uint32_t size; /* in bytes, as agreed with the daemon */
    const Field *fields;
    uint32_t count;
    uint32_t longest; /* room that its JSON object needs */
};

/* No record's object needs more. */
constexpr uint32_t LONGEST_OBJECT = 12 * 1024;

/* A table reads like the record's description: id("id"), text("name", 255). */
namespace field {

constexpr bool is_quoted(FieldKind kind)
{
    return kind == FieldKind::Id || kind == FieldKind::Text;
}

/* A nested object's key has no blank before its colon. */
constexpr Lead lead_of(const char *key, FieldKind kind)
{
    Lead lead = {};
    const auto add = [&lead](const char *text) {
        while (*text) lead.text[lead.length++] = *text++;
    };
    add(key);
    add(kind == FieldKind::Object ? "\": " : "\" : ");
    if (is_quoted(kind)) add("\"");
    return lead;
}

constexpr Field keyed(const char *key, FieldKind kind, uint32_t width)
{
    return {key, nullptr, width, kind, 0, lead_of(key, kind)};
}

constexpr Field id(const char *key)
{
    return keyed(key, FieldKind::Id, 4);
}
constexpr Field int32(const char *key)
{
    return keyed(key, FieldKind::Int32, 4);
}
constexpr Field uint64(const char *key)
{
    return keyed(key, FieldKind::Uint64, 8);
}
constexpr Field float32(const char *key)
{
    return keyed(key, FieldKind::Float32, 4);
}
constexpr Field flag(const char *key)
{
    return keyed(key, FieldKind::Flag, 1);
}
constexpr Field flags(const char *key, uint8_t count)
{
    return keyed(key, FieldKind::Flags, count);
}
constexpr Field matrix(const char *key, uint8_t rows, uint8_t columns)
{
    Field field = keyed(key, FieldKind::Matrix, static_cast<uint32_t>(rows) * columns);
    field.rows = rows;
    return field;
}
constexpr Field text(const char *key, uint32_t width)
{
    return keyed(key, FieldKind::Text, width);
}
constexpr Field members(const Record &record)
{
    return {nullptr, &record, record.size, FieldKind::Members, 0, {}};
}
constexpr Field object(const char *key, const Record &record)
{
    Field field = keyed(key, FieldKind::Object, record.size);
    field.record = &record;
    return field;
}

} // namespace field

namespace record_check {

constexpr bool same(const char *a, const char *b)
{
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

constexpr uint32_t total_width(const Field *fields, uint32_t count)
{
    uint32_t width = 0;
    for (uint32_t i = 0; i < count; ++i) width += fields[i].width;
    return width;
}

constexpr uint32_t uses_of(const char *key, const Field *fields, uint32_t count)
{
    uint32_t uses = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const Field &field = fields[i];
        if (field.kind == FieldKind::Members) {
            uses += uses_of(key, field.record->fields, field.record->count);
        } else if (same(key, field.key)) {
            ++uses;
        }
    }
    return uses;
}

constexpr bool keys_differ(const Field *fields, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        if (fields[i].key && uses_of(fields[i].key, fields, count) != 1) return false;
    }
    return true;
}

constexpr uint32_t longest_value(const Field &field)
{
    switch (field.kind) {
        case FieldKind::Id:
        case FieldKind::Int32: return 13;
        case FieldKind::Uint64: return 20;
        case FieldKind::Float32: return 44;
        case FieldKind::Flag: return 5;
        case FieldKind::Flags: return 6 * field.width + 4;
        case FieldKind::Matrix: return 6 * field.width + 5 * field.rows + 4;
        case FieldKind::Text: return field.width + 2;
        case FieldKind::Members:
        case FieldKind::Object: return field.record->longest;
    }
    return 0;
}

constexpr uint32_t longest_object(std::span<const Field> fields)
{
    uint32_t longest = 2;
    for (const Field &field : fields) {
        longest += static_cast<uint32_t>(sizeof(field.lead.text)) + longest_value(field) + 4;
    }
    return longest;
}

/* Not constexpr: to reach one of them stops the compilation with its name. */
void size_is_not_the_agreed_one();
void a_key_stands_twice();
void there_is_no_such_key();
void its_text_is_too_long();

} // namespace record_check

/* Declares a record and holds it, while compiling, against its agreed size and
 * against keys that stand twice. */
consteval Record record(const char *name, uint32_t size, std::span<const Field> fields)
{
    const uint32_t count = static_cast<uint32_t>(fields.size());
    if (record_check::total_width(fields.data(), count) != size) {
        record_check::size_is_not_the_agreed_one();
    }
    if (!record_check::keys_differ(fields.data(), count)) record_check::a_key_stands_twice();
    const uint32_t longest = record_check::longest_object(fields);
    if (longest > LONGEST_OBJECT) record_check::its_text_is_too_long();
    return {name, size, fields.data(), count, longest};
}

/* A record that ends early: the first `count` fields of another. */
consteval Record first_fields(const char *name, uint32_t size, const Record &whole, uint32_t count)
{
    return record(name, size, {whole.fields, count});
}

/* Where a field begins in its record. */
consteval uint32_t offset_of(const Record &record, const char *key)
{
    uint32_t offset = 0;
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        if (field.key && record_check::same(field.key, key)) return offset;
        offset += field.width;
    }
    record_check::there_is_no_such_key();
    return offset;
}

/* Writes every field from the form parameters; an absent one gives -1, 0 or an
 * empty text. With an index, the parameters are key[index]. `out` has room for
 * the record. Records with unsigned or decimal fields are never sent. */
constexpr int no_index = -1;
void fill_record(uint8_t *out, const Record &record, array *params, int index = no_index);

/* Writes the JSON object of a record to `out`, which has room for the longest
 * one, and returns where it ends. */
char *put_object(char *out, const Record &record, const uint8_t *bytes);

/* Appends it, whole or cut. */
void append_cut_object(Text &json, const Record &record, const uint8_t *bytes);
inline void append_object(Text &json, const Record &record, const uint8_t *bytes)
{
    if (room_in(json) >= record.longest) {
        json.at = put_object(json.at, record, bytes);
    } else {
        append_cut_object(json, record, bytes);
    }
}
