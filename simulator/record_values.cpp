#include "simulator/record_values.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>

#include "simulator/format.h"
#include "simulator/text_input.h"
#include "sysmng/bytes.h"

namespace {

void add_leaves(std::vector<Leaf> &all, const Record &record, const std::string &prefix,
                uint32_t offset)
{
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        const uint32_t at = offset + field.offset;
        if (field.kind == FieldKind::Members) {
            add_leaves(all, *field.record, prefix, at);
        } else if (field.kind == FieldKind::Object) {
            add_leaves(all, *field.record, prefix + field.key + ".", at);
        } else {
            all.push_back({prefix + field.key, &field, at});
        }
    }
}

const Leaf &leaf_of(const Record &record, const std::string &key)
{
    const Leaf *leaf = find_leaf(record, key);
    if (leaf) return *leaf;
    fprintf(stderr, "%s has no field %s\n", record.name, key.c_str());
    abort();
}

void store_text(uint8_t *at, uint32_t width, const std::string &text)
{
    const size_t length = std::min<size_t>(text.size(), width - 1);
    std::copy_n(text.begin(), length, at);
    std::fill(at + length, at + width, uint8_t{0});
}

void store_flags(uint8_t *at, uint32_t count, std::string digits)
{
    std::erase(digits, ' ');
    for (uint32_t i = 0; i < count; ++i) at[i] = i < digits.size() && digits[i] == '1' ? 1 : 0;
}

std::string flags_text(const uint8_t *at, uint32_t count)
{
    std::string digits;
    for (uint32_t i = 0; i < count; ++i) digits += at[i] ? '1' : '0';
    return digits;
}

void store_u64(uint8_t *at, uint64_t value)
{
    store_u32(at, static_cast<uint32_t>(value));
    store_u32(at + 4, static_cast<uint32_t>(value >> 32));
}

/* The shortest text that gives the same number. */
std::string float_text(const uint8_t *at)
{
    char text[32];
    const float number = std::bit_cast<float>(load_u32(at));
    return std::string(text, std::to_chars(std::begin(text), std::end(text), number).ptr);
}

bool is_integer(FieldKind kind)
{
    return kind == FieldKind::Id || kind == FieldKind::Int32;
}

bool is_flags(FieldKind kind)
{
    return kind == FieldKind::Flags || kind == FieldKind::Matrix;
}

/* Whether a client gave this value. */
bool is_given(FieldKind kind, const std::string &value)
{
    return is_integer(kind) ? value != "-1" : !value.empty();
}

} // namespace

void append(Bytes &to, const Bytes &bytes)
{
    to.insert(to.end(), bytes.begin(), bytes.end());
}

std::string short_name(const Record &record)
{
    const std::string name = record.name;
    return name.substr(0, name.rfind("_record"));
}

const std::vector<Leaf> &leaves(const Record &record)
{
    static std::map<const Record *, std::vector<Leaf>> known;
    std::vector<Leaf> &all = known[&record];
    if (all.empty()) add_leaves(all, record, "", 0);
    return all;
}

RecordBytes new_record(const Record &record, const std::string &texts)
{
    RecordBytes made = {&record, Bytes(record.size, 0)};
    set_texts(made, texts);
    return made;
}

RecordBytes record_at(const Record &record, const Bytes &bytes, size_t offset)
{
    const uint8_t *begin = bytes.data() + offset;
    return {&record, Bytes(begin, begin + record.size)};
}

RecordBytes blank_request(const Record &record)
{
    RecordBytes blank = new_record(record);
    for (const Leaf &leaf : leaves(record)) {
        if (is_integer(leaf.field->kind)) set_number(blank, leaf.key, -1);
    }
    return blank;
}

const Leaf *find_leaf(const Record &record, const std::string &key)
{
    const std::vector<Leaf> &all = leaves(record);
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Leaf &leaf) { return leaf.key == key; });
    return found == all.end() ? nullptr : &*found;
}

bool has_field(const Record &record, const std::string &key)
{
    return find_leaf(record, key) != nullptr;
}

bool is_number(const Field &field)
{
    return is_integer(field.kind) || field.kind == FieldKind::Uint64 ||
           field.kind == FieldKind::Float32;
}

int32_t get_int(const RecordBytes &from, const std::string &key)
{
    const Leaf &leaf = leaf_of(*from.record, key);
    const uint8_t *at = from.bytes.data() + leaf.offset;
    return leaf.field->kind == FieldKind::Flag ? *at : load_i32(at);
}

double get_number(const RecordBytes &from, const std::string &key)
{
    const Leaf &leaf = leaf_of(*from.record, key);
    const uint8_t *at = from.bytes.data() + leaf.offset;
    if (leaf.field->kind == FieldKind::Uint64) return static_cast<double>(load_u64(at));
    if (leaf.field->kind == FieldKind::Float32) return std::bit_cast<float>(load_u32(at));
    return get_int(from, key);
}

void set_number(RecordBytes &in, const std::string &key, double value)
{
    const Leaf &leaf = leaf_of(*in.record, key);
    uint8_t *at = in.bytes.data() + leaf.offset;
    switch (leaf.field->kind) {
        case FieldKind::Flag: *at = value != 0 ? 1 : 0; break;
        case FieldKind::Float32:
            store_u32(at, std::bit_cast<uint32_t>(static_cast<float>(value)));
            break;
        case FieldKind::Uint64: store_u64(at, static_cast<uint64_t>(value)); break;
        default: store_i32(at, static_cast<int32_t>(value));
    }
}

std::string get_text(const RecordBytes &from, const std::string &key)
{
    const Leaf &leaf = leaf_of(*from.record, key);
    const uint8_t *at = from.bytes.data() + leaf.offset;
    const char *text = reinterpret_cast<const char *>(at);
    switch (leaf.field->kind) {
        case FieldKind::Text: return std::string(text, strnlen(text, leaf.field->width));
        case FieldKind::Flag: return *at ? "true" : "false";
        case FieldKind::Flags:
        case FieldKind::Matrix: return flags_text(at, leaf.field->width);
        case FieldKind::Uint64: return std::to_string(load_u64(at));
        case FieldKind::Float32: return float_text(at);
        default: return std::to_string(load_i32(at));
    }
}

std::string value_problem(const Field &field, const std::string &text)
{
    if (field.kind == FieldKind::Text) {
        if (text.size() < field.width) return "";
        return format("takes at most %u bytes, and these are %zu", field.width - 1, text.size());
    }
    if (field.kind == FieldKind::Flag) {
        return text == "true" || text == "false" ? "" : "takes true or false";
    }
    if (is_flags(field.kind)) {
        std::string digits = text;
        std::erase(digits, ' ');
        const bool good =
            digits.size() == field.width && digits.find_first_not_of("01") == std::string::npos;
        return good ? "" : format("takes %u digits, each 0 or 1", field.width);
    }
    if (is_integer(field.kind) && !int_of(text)) {
        return "takes a whole number from -2147483648 to 2147483647";
    }
    if (field.kind == FieldKind::Uint64 && !uint64_of(text))
        return "takes a whole number, 0 or more";
    return decimal_of(text) ? "" : "takes a number";
}

void set_text(RecordBytes &in, const std::string &key, const std::string &value)
{
    const Leaf &leaf = leaf_of(*in.record, key);
    uint8_t *at = in.bytes.data() + leaf.offset;
    switch (leaf.field->kind) {
        case FieldKind::Text: store_text(at, leaf.field->width, value); break;
        case FieldKind::Flag: *at = value == "true" ? 1 : 0; break;
        case FieldKind::Flags:
        case FieldKind::Matrix: store_flags(at, leaf.field->width, value); break;
        case FieldKind::Uint64: store_u64(at, uint64_of(value).value_or(0)); break;
        default: set_number(in, key, decimal_of(value).value_or(0));
    }
}

void set_texts(RecordBytes &in, const std::string &texts)
{
    for (size_t begin = 0, end; begin < texts.size(); begin = end + strlen("; ")) {
        end = std::min(texts.find("; ", begin), texts.size());
        const size_t equals = texts.find('=', begin);
        set_text(in, texts.substr(begin, equals - begin),
                 texts.substr(equals + 1, end - equals - 1));
    }
}

void merge(RecordBytes &stored, const RecordBytes &request)
{
    for (const Leaf &leaf : leaves(*stored.record)) {
        const std::string value = get_text(request, leaf.key);
        if (is_given(leaf.field->kind, value)) set_text(stored, leaf.key, value);
    }
}

void copy_flags(RecordBytes &to, const RecordBytes &from)
{
    for (const Leaf &leaf : leaves(*from.record)) {
        const bool has_flags = leaf.field->kind == FieldKind::Flag || is_flags(leaf.field->kind);
        if (has_flags) set_text(to, leaf.key, get_text(from, leaf.key));
    }
}

void copy_shared_fields(RecordBytes &to, const RecordBytes &from)
{
    for (const Leaf &leaf : leaves(*from.record)) {
        if (has_field(*to.record, leaf.key)) set_text(to, leaf.key, get_text(from, leaf.key));
    }
}
