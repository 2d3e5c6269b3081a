/* Every record, both ways where it travels both ways: a distinctive value in
 * each field, its bytes at their offset, and the text of the answer. */
#include <bit>
#include <sstream>

#include "tests/resources.h"
#include "tests/support/module_test.h"
#include "tests/support/table.h"

namespace {

using namespace std::string_literals;

using resources::Field;
using resources::Fields;
using resources::record;

std::string bytes_of(const Fields &fields, size_t size = 0);

std::string value_bytes(const Field &field)
{
    const std::string &value = field.value;
    std::string flags;
    switch (field.kind) {
        case '\'': return value;
        case '{': return bytes_of(record(value));
        case '~': return u32(std::bit_cast<uint32_t>(std::stof(value)));
        case 'b': return value == "true" ? "\1"s : "\0"s;
        case '[':
            for (const char c : value) flags += c == ' ' ? ""s : c == '1' ? "\1"s : "\0"s;
            return flags;
        default: break;
    }
    const uint64_t number = std::stoull(value); /* it wraps what is negative */
    const std::string low = u32(static_cast<uint32_t>(number));
    return field.kind == 'u' ? low + u32(static_cast<uint32_t>(number >> 32)) : low;
}

std::string bytes_of(const Fields &fields, size_t size)
{
    std::string bytes;
    for (const Field &field : fields) {
        EXPECT_LE(bytes.size(), field.at) << field.key;
        bytes = text_field(bytes, field.at) + value_bytes(field);
    }
    return text_field(bytes, std::max(size, bytes.size()));
}

/* What an empty form sends: integers -1, everything else 0. */
Fields absent(Fields fields)
{
    for (Field &field : fields) field.value = field.kind == 'i' || field.kind == '#' ? "-1" : "";
    return fields;
}

/* A single value of an array, and one behind each of its rows, are not taken. */
std::string form_of(const Fields &fields, const std::string &index = "")
{
    std::string form;
    for (const auto &[at, key, value, kind] : fields) {
        form += key + index + "=" + value + "&";
        const bool has_rows = value.find(' ') != value.npos;
        for (size_t i = 0; kind == '[' && i <= value.size(); ++i) {
            const std::string row = has_rows ? "[" + std::to_string(i / 5) + "]" : "";
            if (value[i] != '0') form += key + row + "[" + std::to_string(i % 5) + "]=1&";
        }
    }
    return form;
}

std::string json_of_flags(const std::string &value)
{
    std::istringstream words(value);
    std::string rows;
    for (std::string row; words >> row;) {
        std::string flags;
        for (const char c : row)
            flags += (flags.empty() ? "" : ",") + (c == '1' ? "true"s : "false");
        rows += (rows.empty() ? "[ " : ",[ ") + flags + " ]";
    }
    return value.find(' ') == value.npos ? rows : "[ " + rows + " ]";
}

std::string members_of(const Fields &fields);

std::string json_of(const Field &field)
{
    switch (field.kind) {
        case '\'':
        case '#': return '"' + field.value + '"';
        case '{': return "{" + members_of(record(field.value)) + "}";
        case '[': return json_of_flags(field.value);
        default: return field.value;
    }
}

std::string members_of(const Fields &fields)
{
    std::string members;
    for (const Field &field : fields) {
        const char *const colon = field.kind == '{' ? "\": " : "\" : ";
        members += (members.empty() ? "\"" : ", \"") + field.key + colon + json_of(field);
    }
    return members;
}

/* With texts that fill their fields but for `less` bytes. */
Fields with_texts(size_t size, Fields fields, size_t less)
{
    for (size_t i = 0; i < fields.size(); ++i) {
        const size_t end = i + 1 < fields.size() ? fields[i + 1].at : size;
        if (fields[i].kind == '\'') fields[i].value.assign(end - fields[i].at - less, 'x');
    }
    return fields;
}

class Records : public ModuleTest {
protected:
    /* A single answer ends with the reply buffer. */
    void expect_read(const std::string &path, uint32_t command, const std::string &bytes,
                     const std::string &members)
    {
        for (const char *surplus : {"", "more"}) {
            will_reply(command, 1, bytes + surplus);
            EXPECT_EQ(get(path).body, ("[ {" + members + "} ]").substr(0, 5119));
            EXPECT_EQ(sent().type, command);
        }
    }

    void expect_listed(const std::string &path, uint32_t command, const std::string &bytes,
                       const std::string &members)
    {
        will_reply(command, 1, bytes);
        EXPECT_EQ(get(path).body, "[\n{" + members + "}\n]");
        will_reply(command, 1, bytes + bytes);
        EXPECT_EQ(get(path).body, "[\n{" + members + "},\n{" + members + "}\n]");
    }

    void expect_written(http_method_t method, const std::string &path, uint32_t command,
                        const std::string &form, const std::string &record)
    {
        will_reply(command, 1, "");
        request(method, path, form);
        const Sent message = sent();
        EXPECT_EQ(message.type, command);
        EXPECT_EQ(message.payload, record);
    }
};

TEST_F(Records, AreReadAndWrittenFieldByField)
{
    for (const auto &[path, actions, size, fields] : resources::all_routes()) {
        const Fields too_long = with_texts(size + 9000, fields, 0);
        const Fields full = with_texts(size, fields, 0), cut = with_texts(size, fields, 1);
        for (const auto &[method, kind, command] : actions) {
            if (size == 0 || kind == "NONE" || kind == "REMOVE") continue;
            SCOPED_TRACE(path + " " + std::to_string(command));
            ASSERT_FALSE(fields.empty()) << "its fields are not tested";
            const std::string bytes = bytes_of(fields, size), members = members_of(fields);
            /* A form has none, one or more interfaces. */
            const std::string index = command == 23 ? "[0]" : "";
            if (kind == "LIST") {
                expect_listed(path, command, bytes, members);
            } else if (method == resources::GET) {
                expect_read(path, command, bytes, members);
                expect_read(path, command, bytes_of(full, size), members_of(cut));
            } else {
                expect_written(method, path, command, form_of(fields, index), bytes);
                expect_written(method, path, command, form_of(full, index), bytes_of(cut, size));
                expect_written(method, path, command, form_of(too_long, index),
                               bytes_of(cut, size));
                expect_written(method, path, command, "",
                               index.empty() ? bytes_of(absent(fields), size) : "");
            }
        }
    }
}

TEST_F(Records, OfFlagsAndFloatsLookLikeThis)
{
    const std::string flags = "\0\1\0\0\0\0\1\0\1\0\0\0\0\0\0\1"s;
    expect_read("/api/decoder/audio", 10, text_field(flags, 44),
                R"("sdiHdmiOutput" : [ [ false,true,false,false ],[ false,false,true,false ],)"
                R"([ true,false,false,false ],[ false,false,false,true ] ], "digitalOutput" : 0, )"
                R"("aesOutput1" : [ false,false,false,false ], "aesOutput2" : [ false,false,)"
                R"(false,false ], "analogOutput" : [ false,false,false,false ], )"
                R"("balancedMode" : 0, "volumeUnbalanced" : 0, "volumeBalanced" : 0)");
    will_reply(21, 1, text_field(text_field("", 24) + u32(0x41480000), 1323));
    EXPECT_NE(get("/api/channel/info").body.find("\"inputBitrate\" : 12.5}, "), std::string::npos);
}

TEST_F(Records, TakeValuesAsTheyAreWritten)
{
    expect_read("/api/services", 37, "\x80", "\"discovery\" : true");
    expect_read("/api/services", 37, "\0"s, "\"discovery\" : false");
    for (const Row &row : table("values.txt", 3)) {
        SCOPED_TRACE(row[1]);
        const auto number = static_cast<uint32_t>(std::stoll(row[2]));
        if (row[0] == "flag") {
            expect_written(resources::PUT, "/api/services", 38, "discovery=" + row[1],
                           std::string(1, static_cast<char>(number)));
        } else if (row[0] == "in a path") {
            expect_written(resources::DELETE, "/api/stream/" + row[1], 4, "",
                           u32(number) + u32(number));
        } else {
            will_reply(9, 1, "");
            request(resources::PUT, "/api/decoder/video", "hdmiMode=" + row[1]);
            EXPECT_EQ(sent().payload.substr(7, 4), u32(number));
        }
    }
}

TEST_F(Records, OfInterfacesEndAtAMissingIdentifierOrAtThirtyFour)
{
    const std::string rest = bytes_of(absent(record("interface")), 481).substr(4);
    expect_written(resources::PUT, "/api/network", 23, "id[0]=7&id[1]=-2&id[3]=4&type[3]=9",
                   u32(7) + rest + u32(-2u) + rest);
    std::string form, records;
    for (uint32_t i = 0; i <= 40; ++i) {
        form += "id[" + std::to_string(i) + "]=" + std::to_string(i) + "&";
        if (i < 34) records += u32(i) + rest;
    }
    expect_written(resources::PUT, "/api/network", 23, form, records);
}

} // namespace
