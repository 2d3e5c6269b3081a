#include "reply/fill.h"

#include <cstring>

#include "input/params.h"
#include "reply/text.h"
#include "sysmng/bytes.h"

namespace {

void fill_fields(uint8_t *out, const Record &record, array *params, int index);

uint8_t flag_value(const char *text)
{
    return text && (strcmp(text, "true") == 0 || strcmp(text, "1") == 0) ? 1 : 0;
}

const char *field_value(array *params, const char *key, int index)
{
    return index == no_index ? get_value(params, key) : get_array_element_value(params, key, index);
}

/* `out` is all NULs. */
void fill_text(uint8_t *out, uint32_t width, const char *value)
{
    if (value) memcpy(out, value, strnlen(value, width - 1));
}

void fill_matrix(uint8_t *out, const Field &field, array *params)
{
    const int rows = field.rows;
    const int columns = static_cast<int>(field.width) / rows;
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < columns; ++j) {
            *out++ = flag_value(get_2darray_element_value(params, field.key, i, j));
        }
    }
}

void fill_field(uint8_t *out, const Field &field, array *params, int index)
{
    switch (field.kind) {
        case FieldKind::Id:
        case FieldKind::Int32: {
            const char *value = field_value(params, field.key, index);
            store_i32(out, value ? decimal_value(value) : -1);
            break;
        }
        case FieldKind::Flag: *out = flag_value(field_value(params, field.key, index)); break;
        case FieldKind::Flags:
            for (uint32_t i = 0; i < field.width; ++i) {
                out[i] =
                    flag_value(get_array_element_value(params, field.key, static_cast<int>(i)));
            }
            break;
        case FieldKind::Matrix: fill_matrix(out, field, params); break;
        case FieldKind::Text:
            fill_text(out, field.width, field_value(params, field.key, index));
            break;
        case FieldKind::Members: fill_fields(out, *field.record, params, index); break;
        case FieldKind::Uint64:
        case FieldKind::Float32:
        case FieldKind::Object: break;
    }
}

void fill_fields(uint8_t *out, const Record &record, array *params, int index)
{
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        fill_field(out + field.offset, field, params, index);
    }
}

} // namespace

void fill_record(uint8_t *out, const SentRecord &sent, array *params, int index)
{
    memset(out, 0, sent.record.size);
    fill_fields(out, sent.record, params, index);
}
