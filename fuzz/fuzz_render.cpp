/* Every record as JSON, against a loop over its fields that is as simple as it
 * can be.
 * Input: the record's bytes, repeated to its size; from the input's end, which
 * one, and the room for its object. */
#include <bit>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/support.h"
#include "reply/escape.h"
#include "reply/render.h"
#include "simulator/commands.h"
#include "sysmng/command.h"

namespace {

/* Of every command, what it sends and what it gets. */
std::vector<const Record *> find_records()
{
    std::vector<const Record *> records;
    for (uint32_t code = 0; code <= CMD_MAX_NUM; ++code) {
        for (const Record *record : {request_record(code), reply_record(code, RESULT_SUCCESS)}) {
            if (record) records.push_back(record);
        }
    }
    return records;
}

uint64_t number(const std::string &bytes)
{
    uint64_t value = 0;
    for (size_t i = bytes.size(); i > 0; --i)
        value = value << 8 | static_cast<uint8_t>(bytes[i - 1]);
    return value;
}

std::string tenths(uint32_t bits)
{
    char text[64];
    snprintf(text, sizeof(text), "%.1f", static_cast<double>(std::bit_cast<float>(bits)));
    return text;
}

std::string flags(const std::string &bytes)
{
    std::string all;
    for (const char c : bytes) all += std::string(all.empty() ? "" : ",") + (c ? "true" : "false");
    return "[ " + all + " ]";
}

std::string matrix(const std::string &bytes, size_t rows)
{
    std::string all;
    const size_t columns = bytes.size() / rows;
    for (size_t row = 0; row < rows; ++row)
        all += (row > 0 ? "," : "") + flags(bytes.substr(row * columns, columns));
    return "[ " + all + " ]";
}

std::string members(const Record &record, const std::string &bytes);

std::string value(const Field &field, const std::string &bytes)
{
    switch (field.kind) {
        case FieldKind::Id: return '"' + std::to_string(static_cast<int>(number(bytes))) + '"';
        case FieldKind::Int32: return std::to_string(static_cast<int>(number(bytes)));
        case FieldKind::Uint64: return std::to_string(number(bytes));
        case FieldKind::Float32: return tenths(static_cast<uint32_t>(number(bytes)));
        case FieldKind::Flag: return number(bytes) != 0 ? "true" : "false";
        case FieldKind::Flags: return flags(bytes);
        case FieldKind::Matrix: return matrix(bytes, field.rows);
        case FieldKind::Text: return '"' + escaped_naively(bytes) + '"';
        default: return "{" + members(*field.record, bytes) + "}";
    }
}

std::string members(const Record &record, const std::string &bytes)
{
    std::string all;
    size_t at = 0;
    for (uint32_t i = 0; i < record.count; ++i) {
        const Field &field = record.fields[i];
        const std::string own = bytes.substr(at, field.width);
        at += field.width;
        if (i > 0) all += ", ";
        const bool flat = field.kind == FieldKind::Members;
        const char *colon = field.kind == FieldKind::Object ? "\": " : "\" : ";
        all += flat ? members(*field.record, own) : '"' + (field.key + (colon + value(field, own)));
    }
    return all;
}

/* In memory of its own, so that a byte beyond it is found. */
std::string escaped_in_place(const std::string &field)
{
    const auto width = static_cast<uint32_t>(field.size());
    const auto memory = std::make_unique<char[]>(width);
    memcpy(memory.get(), field.data(), width);
    escape_string(memory.get(), width);
    return memory.get();
}

} // namespace

void fuzz_one(FuzzedDataProvider &input)
{
    static const std::vector<const Record *> records = find_records();
    const Record &record = *records[input.ConsumeIntegralInRange<size_t>(0, records.size() - 1)];
    const auto room = input.ConsumeIntegralInRange<size_t>(0, LONGEST_OBJECT);
    const std::string filling = input.ConsumeRemainingBytesAsString();
    if (filling.empty()) return;
    std::string bytes;
    while (bytes.size() < record.size) bytes += filling;
    bytes.resize(record.size);
    const auto *memory = reinterpret_cast<const uint8_t *>(bytes.data());

    const std::string expected = "{" + members(record, bytes) + "}";
    const auto whole = std::make_unique<char[]>(record.longest);
    require(std::string(whole.get(), put_object(whole.get(), record, memory)) == expected,
            "an object is what the simple loop makes of the record");

    const auto part = std::make_unique<char[]>(room + 1);
    Text json = text_in(part.get(), room + 1);
    append_object(json, record, memory);
    require(std::string(part.get(), json.at) == expected.substr(0, room), "it is cut to the room");

    require(escaped_in_place(filling) == escaped_naively(filling),
            "a text is escaped in its place");
    require(is_json(expected), "an object is JSON");
}
