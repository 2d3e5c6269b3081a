/* Records as the daemon keeps them: packed bytes, read and changed by the keys
 * of their declaration. A member of a nested object is "object.key". To ask
 * for a key that the record doesn't have is a fault of this program, and ends
 * it. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "module/record.h"

using Bytes = std::vector<uint8_t>;
void append(Bytes &to, const Bytes &bytes);

struct RecordBytes {
    const Record *record;
    Bytes bytes; /* record->size of them */
};

/* A field that holds a value, and where. */
struct Leaf {
    std::string key;
    const Field *field;
    uint32_t offset;
};

/* All of a record, those of nested records in their place. */
const std::vector<Leaf> &leaves(const Record &record);

/* Zeros and empty texts, but for what set_texts makes of `texts`. */
RecordBytes new_record(const Record &record, const std::string &texts = "");

/* The record that begins at `offset`; `bytes` holds it whole. */
RecordBytes record_at(const Record &record, const Bytes &bytes, size_t offset = 0);

bool has_field(const Record &record, const std::string &key);

int32_t get_int(const RecordBytes &from, const std::string &key); /* an integer or a flag */
void set_number(RecordBytes &in, const std::string &key, double value);

/* Any field of a request but decimals as text. An integer is a decimal, a flag
 * true or false, an array or a matrix of flags a 0 or 1 each, with blanks as
 * one likes. A text that is too long is cut: its field always ends with a NUL. */
std::string get_text(const RecordBytes &from, const std::string &key);
void set_text(RecordBytes &in, const std::string &key, const std::string &value);

/* Sets the fields of "key=value; key=value". */
void set_texts(RecordBytes &in, const std::string &texts);

/* Takes over what a client gave: integers that are not -1, texts that are not
 * empty, and all flags. Both are of the same record. */
void merge(RecordBytes &stored, const RecordBytes &request);

/* Takes over the fields of `from` that `to` has, too. */
void copy_shared_fields(RecordBytes &to, const RecordBytes &from);
