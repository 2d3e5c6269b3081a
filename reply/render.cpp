#include "reply/render.h"

#include <cstring>

#include "reply/escape.h"
#include "sysmng/bytes.h"

namespace {

/* The put_ functions need room for all that they may write, and return the end.
 * Some write a few bytes beyond it, which the next piece overwrites: copies of a
 * fixed size are the quickest. */

char *put(char *out, const char *literal)
{
    const size_t length = strlen(literal);
    memcpy(out, literal, length);
    return out + length;
}

char *put_flag(char *out, uint8_t byte)
{
    memcpy(out, byte ? "true " : "false", 5);
    return out + (byte ? 4 : 5);
}

char *put_flags(char *out, const uint8_t *bytes, uint32_t count)
{
    out = put(out, "[ ");
    for (uint32_t i = 0; i < count; ++i) {
        if (i > 0) *out++ = ',';
        out = put_flag(out, bytes[i]);
    }
    return put(out, " ]");
}

char *put_matrix(char *out, const uint8_t *bytes, uint32_t rows, uint32_t columns)
{
    out = put(out, "[ ");
    for (uint32_t i = 0; i < rows; ++i) {
        if (i > 0) *out++ = ',';
        out = put_flags(out, bytes + i * columns, columns);
    }
    return put(out, " ]");
}

double float_value(const uint8_t *bytes)
{
    const uint32_t bits = load_u32(bytes);
    float value;
    static_assert(sizeof(value) == sizeof(bits));
    memcpy(&value, &bits, sizeof(value));
    return static_cast<double>(value);
}

/* Between two members, up to the quote before the next key. */
constexpr char separator[] = ", \"";

char *put_separator(char *out)
{
    memcpy(out, separator, sizeof(separator));
    return out + strlen(separator);
}

/* Ends a quoted value. */
char *put_quote(char *out)
{
    *out++ = '"';
    return out;
}

/* The kinds that few fields have. */
[[gnu::noinline]] char *put_rare_value(char *out, const Field &field, const uint8_t *bytes)
{
    switch (field.kind) {
        case FieldKind::Id: return put_quote(put_int(out, load_i32(bytes)));
        case FieldKind::Uint64: return put_uint(out, load_u64(bytes));
        case FieldKind::Float32: return put_tenths(out, float_value(bytes));
        case FieldKind::Flags: return put_flags(out, bytes, field.width);
        case FieldKind::Matrix: return put_matrix(out, bytes, field.rows, field.width / field.rows);
        case FieldKind::Object: return put_object(out, *field.record, bytes);
        default: return out;
    }
}

char *put_value(char *out, const Field &field, const uint8_t *bytes)
{
    switch (field.kind) {
        case FieldKind::Int32: return put_int(out, load_i32(bytes));
        case FieldKind::Flag: return put_flag(out, *bytes);
        case FieldKind::Text:
            return put_quote(put_escaped(out, reinterpret_cast<const char *>(bytes), field.width));
        default: return put_rare_value(out, field, bytes);
    }
}

char *put_members(char *out, const Record &record, const uint8_t *bytes)
{
    const Field *const end = record.fields + record.count;
    for (const Field *field = record.fields; field < end; ++field) {
        const uint8_t *const value = bytes + field->offset;
        if (field->kind == FieldKind::Members) {
            out = put_members(out, *field->record, value);
            continue;
        }
        memcpy(out, field->lead.text, sizeof(field->lead.text));
        out = put_value(out + field->lead.length, *field, value);
        out = put_separator(out);
    }
    return out;
}

/* Not inline: only long texts need this much stack. */
[[gnu::noinline]] void append_cut_object(Text &json, const Record &record, const uint8_t *bytes)
{
    char object[LONGEST_OBJECT];
    const char *end = put_object(object, record, bytes);
    append(json, object, static_cast<size_t>(end - object));
}

} // namespace

char *put_object(char *out, const Record &record, const uint8_t *bytes)
{
    out = put(out, "{\"");
    out = put_members(out, record, bytes) - strlen(separator);
    *out++ = '}';
    return out;
}

void append_object(Text &json, const Record &record, const uint8_t *bytes)
{
    if (room_in(json) >= record.longest) {
        json.at = put_object(json.at, record, bytes);
    } else {
        append_cut_object(json, record, bytes);
    }
}
