/* Daemon records, declared as tables: one field a line, with its offset in the
 * packed record. A field's key is its form parameter and its JSON key.
 *
 *     RECORD(sap_record, 55,
 *         at(0, flag("useDefaultAddressPort")),
 *         at(1, int32("interface")),
 *         at(5, text("ipAddress", 46)),
 *         at(51, int32("port")))
 *
 * declares sap_record. Its offsets, its size in bytes and its keys, which must
 * differ, are checked while compiling. */
#pragma once

#include <cstdint>

#include "reply/record_check.h"

/* Declares a record of the fields that follow its name and its size. */
#define RECORD(record_name, size, ...)                             \
    inline constexpr Field record_name##_fields[] = {__VA_ARGS__}; \
    inline constexpr Record record_name = checked_record(#record_name, size, record_name##_fields);

/* Declares a record that ends early: the first `count` fields of another. */
#define RECORD_OF_FIRST_FIELDS(record_name, size, whole, count) \
    inline constexpr Record record_name =                       \
        checked_record(#record_name, size, {(whole).fields, count});

/* Where a field begins in its record. */
consteval uint32_t offset_of(const Record &record, const char *key)
{
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        if (field.key && record_check::same(field.key, key)) return field.offset;
    }
    record_check::there_is_no_such_key();
    return 0;
}

/* A record that is sent: it can be made of a form. */
struct SentRecord {
    const Record &record;

    /* Implicit, so that handlers name their record and nothing else. */
    consteval SentRecord(const Record &sent) : record(sent)
    {
        for (uint32_t i = 0; i < sent.count; ++i) {
            const Field &field = sent.fields[i];
            if (field.kind == FieldKind::Members) {
                SentRecord{*field.record};
            } else if (!record_check::is_filled(field.kind)) {
                record_check::a_field_of_this_kind_is_never_sent();
            }
        }
    }
};
