#include "simulator/record_values.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "simulator/format.h"
#include "sysmng/bytes.h"

namespace {

void add_leaves(std::vector<Leaf> &all, const Record &record, const std::string &prefix,
                uint32_t offset)
{
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        if (field.kind == FieldKind::Members) {
            add_leaves(all, *field.record, prefix, offset);
        } else if (field.kind == FieldKind::Object) {
            add_leaves(all, *field.record, prefix + field.key + ".", offset);
        } else {
            all.push_back({prefix + field.key, &field, offset});
        }
        offset += field.width;
    }
}

const Leaf *find_leaf(const Record &record, const std::string &key)
{
    const std::vector<Leaf> &all = leaves(record);
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Leaf &leaf) { return leaf.key == key; });
    return found == all.end() ? nullptr : &*found;
}

const Leaf &leaf_of(const Record &record, const std::string &key)
{
    const Leaf *leaf = find_leaf(record, key);
    if (!leaf) {
        fprintf(stderr, "%s has no field %s\n", record.name, key.c_str());
        abort();
    }
    return *leaf;
}

void store_text(uint8_t *at, uint32_t width, const std::string &text)
{
    const size_t length = std::min<size_t>(text.size(), width - 1);
    std::copy_n(text.begin(), length, at);
    std::fill(at + length, at + width, uint8_t{0});
}

std::string load_text(const uint8_t *at, uint32_t width)
{
    const char *text = reinterpret_cast<const char *>(at);
    return std::string(text, strnlen(text, width));
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

void store_float(uint8_t *at, float value)
{
    uint32_t bits;
    static_assert(sizeof(bits) == sizeof(value));
    memcpy(&bits, &value, sizeof(bits));
    store_u32(at, bits);
}

/* Whether a client gave this value. */
bool is_given(const Leaf &leaf, const uint8_t *at)
{
    switch (leaf.field->kind) {
        case FieldKind::Id:
        case FieldKind::Int32: return load_i32(at) != -1;
        case FieldKind::Text: return *at != 0;
        default: return true;
    }
}

/* Bytes behind a text's end stay behind. */
void copy_value(uint8_t *to, const Field &field, const uint8_t *from)
{
    if (field.kind == FieldKind::Text) {
        store_text(to, field.width, load_text(from, field.width));
    } else {
        std::copy_n(from, field.width, to);
    }
}

} // namespace

const std::vector<Leaf> &leaves(const Record &record)
{
    static std::map<const Record *, std::vector<Leaf>> known;
    std::vector<Leaf> &all = known[&record];
    if (all.empty()) add_leaves(all, record, "", 0);
    return all;
}

RecordBytes new_record(const Record &record, const char *texts)
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

bool has_field(const Record &record, const std::string &key)
{
    return find_leaf(record, key) != nullptr;
}

int32_t get_int(const RecordBytes &from, const std::string &key)
{
    const Leaf &leaf = leaf_of(*from.record, key);
    const uint8_t *at = from.bytes.data() + leaf.offset;
    return leaf.field->kind == FieldKind::Flag ? *at : load_i32(at);
}

std::string get_text(const RecordBytes &from, const std::string &key)
{
    const Leaf &leaf = leaf_of(*from.record, key);
    const uint8_t *at = from.bytes.data() + leaf.offset;
    switch (leaf.field->kind) {
        case FieldKind::Text: return load_text(at, leaf.field->width);
        case FieldKind::Flag: return *at ? "true" : "false";
        case FieldKind::Flags:
        case FieldKind::Matrix: return flags_text(at, leaf.field->width);
        default: return format("%d", load_i32(at));
    }
}

void set_number(RecordBytes &in, const std::string &key, double value)
{
    const Leaf &leaf = leaf_of(*in.record, key);
    uint8_t *at = in.bytes.data() + leaf.offset;
    switch (leaf.field->kind) {
        case FieldKind::Flag: *at = value != 0 ? 1 : 0; break;
        case FieldKind::Float32: store_float(at, static_cast<float>(value)); break;
        case FieldKind::Uint64: store_u64(at, static_cast<uint64_t>(value)); break;
        default: store_i32(at, static_cast<int32_t>(value));
    }
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
        default: set_number(in, key, atof(value.c_str()));
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
        const uint8_t *given = request.bytes.data() + leaf.offset;
        if (!is_given(leaf, given)) continue;
        copy_value(stored.bytes.data() + leaf.offset, *leaf.field, given);
    }
}

void copy_shared_fields(RecordBytes &to, const RecordBytes &from)
{
    for (const Leaf &leaf : leaves(*from.record)) {
        const Leaf *target = find_leaf(*to.record, leaf.key);
        if (!target || target->field->width != leaf.field->width) continue;
        copy_value(to.bytes.data() + target->offset, *leaf.field, from.bytes.data() + leaf.offset);
    }
}
