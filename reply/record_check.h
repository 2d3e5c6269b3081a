/* What reply/record.h checks while compiling. */
#pragma once

#include <cstdint>
#include <span>

#include "reply/field.h"

/* No record's object needs more. */
constexpr uint32_t LONGEST_OBJECT = 12 * 1024;

namespace record_check {

/* Not constexpr: to reach one of them stops the compilation with its name. */
void it_has_no_fields();
void a_field_has_no_width();
void a_field_is_not_at_its_offset();
void its_size_is_not_that_of_its_fields();
void a_key_is_too_long();
void a_key_has_a_character_that_json_escapes();
void a_key_stands_twice();
void its_text_is_too_long();
void there_is_no_such_key();
void a_field_of_this_kind_is_never_sent();

constexpr bool same(const char *a, const char *b)
{
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

constexpr void check_key(const Field &field)
{
    uint32_t length = 0;
    for (; field.key[length]; ++length) {
        const char c = field.key[length];
        if (c == '"' || c == '\\' || c < ' ') a_key_has_a_character_that_json_escapes();
    }
    const uint32_t after = field::is_quoted(field.kind) ? 5 : 4;
    if (length + after > sizeof(field.lead.text)) a_key_is_too_long();
}

constexpr uint32_t uses_of(const char *key, std::span<const Field> fields)
{
    uint32_t uses = 0;
    for (const Field &field : fields) {
        if (field.kind == FieldKind::Members) {
            uses += uses_of(key, {field.record->fields, field.record->count});
        } else if (same(key, field.key)) {
            ++uses;
        }
    }
    return uses;
}

constexpr bool is_filled(FieldKind kind)
{
    return kind != FieldKind::Uint64 && kind != FieldKind::Float32 && kind != FieldKind::Object;
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

/* Braces, and for each field its lead, its value and a separator. */
constexpr uint32_t longest_object(std::span<const Field> fields)
{
    uint32_t longest = 2;
    for (const Field &field : fields) {
        longest += static_cast<uint32_t>(sizeof(field.lead.text)) + longest_value(field) + 4;
    }
    return longest;
}

} // namespace record_check

consteval Record checked_record(const char *name, uint32_t size, std::span<const Field> fields)
{
    using namespace record_check;
    if (fields.empty()) it_has_no_fields();
    uint32_t offset = 0;
    for (const Field &field : fields) {
        if (field.width == 0) a_field_has_no_width();
        if (field.offset != offset) a_field_is_not_at_its_offset();
        offset += field.width;
        if (!field.key) continue;
        check_key(field);
        if (uses_of(field.key, fields) != 1) a_key_stands_twice();
    }
    if (offset != size) its_size_is_not_that_of_its_fields();
    const uint32_t longest = longest_object(fields);
    if (longest > LONGEST_OBJECT) its_text_is_too_long();
    return {name, size, fields.data(), static_cast<uint32_t>(fields.size()), longest};
}
