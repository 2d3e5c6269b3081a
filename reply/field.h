/* What a record is made of, and the words that declare it. */
#pragma once

#include <cstdint>

#include "reply/lead.h"

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

struct Field {
    const char *key;      /* null for Members */
    const Record *record; /* Members and Object */
    uint32_t offset;      /* in its record */
    uint32_t width;       /* bytes there */
    FieldKind kind;
    uint8_t rows; /* Matrix */
    Lead lead;
};

struct Record {
    const char *name;
    uint32_t size; /* in bytes */
    const Field *fields;
    uint32_t count;
    uint32_t longest; /* room that its JSON object needs */
};

/* The words of the tables. */
namespace field {

constexpr bool is_quoted(FieldKind kind)
{
    return kind == FieldKind::Id || kind == FieldKind::Text;
}

constexpr Field keyed(const char *key, FieldKind kind, uint32_t width)
{
    return {
        key, nullptr, 0, width, kind, 0, lead_of(key, kind == FieldKind::Object, is_quoted(kind))};
}

constexpr Field at(uint32_t offset, Field field)
{
    field.offset = offset;
    return field;
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
    return {nullptr, &record, 0, record.size, FieldKind::Members, 0, {}};
}
constexpr Field object(const char *key, const Record &record)
{
    Field field = keyed(key, FieldKind::Object, record.size);
    field.record = &record;
    return field;
}

} // namespace field
