/* Records as the daemon keeps them: packed bytes, read and changed by the keys
 * of their declaration. A member of a nested object is "object.key". Asking for
 * a key that the record does not have is a programming error, and ends the
 * program. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "reply/record.h"

using Bytes = std::vector<uint8_t>;
void append(Bytes &to, const Bytes &bytes);

struct RecordBytes {
    const Record *record;
    Bytes bytes; /* record->size of them */
};

/* "zixi_stats" of zixi_stats_record. */
std::string short_name(const Record &record);

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

/* A request for which a client gave nothing: integers are -1. */
RecordBytes blank_request(const Record &record);

/* Null when the record has no such field. */
const Leaf *find_leaf(const Record &record, const std::string &key);
bool has_field(const Record &record, const std::string &key);

bool is_number(const Field &field);

int32_t get_int(const RecordBytes &from, const std::string &key);   /* an integer or a flag */
double get_number(const RecordBytes &from, const std::string &key); /* any number */
void set_number(RecordBytes &in, const std::string &key, double value);

/* Why the text is no value of the field (see set_text), as "takes true or
 * false"; empty when it is one. */
std::string value_problem(const Field &field, const std::string &text);

/* Any field as text. A flag is true or false, an array or a matrix of flags a 0
 * or 1 each, with or without blanks between them. A text that is too long is
 * cut: its field always ends with a NUL. */
std::string get_text(const RecordBytes &from, const std::string &key);
void set_text(RecordBytes &in, const std::string &key, const std::string &value);

/* Sets the fields of "key=value; key=value". */
void set_texts(RecordBytes &in, const std::string &texts);

/* Takes over what a client gave: integers that are not -1, texts that are not
 * empty, and all flags. Both are of the same record. */
void merge(RecordBytes &stored, const RecordBytes &request);

/* Takes over all flags of `from`, which is of the same record. */
void copy_flags(RecordBytes &to, const RecordBytes &from);

/* Takes over the fields of `from` that `to` has, too. */
void copy_shared_fields(RecordBytes &to, const RecordBytes &from);
