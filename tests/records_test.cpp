/* Every record, both ways where it travels both ways: a distinctive value in
 * each field, its bytes at their offset, and the text of the answer. */
#include <cstdlib>
#include <map>

#include "tests/resources.h"
#include "tests/support/module_test.h"

namespace {

using namespace std::string_literals;

using resources::Field;
using resources::Fields;
using resources::record;

std::string value_bytes(const Field &field)
{
    if (field.kind == 't') return field.value;
    if (field.kind == 'b') return field.value == "true" ? "\1"s : "\0"s;
    const uint64_t value = strtoull(field.value.c_str(), nullptr, 10);
    const std::string low = u32(static_cast<uint32_t>(value));
    return field.kind == 'u' ? low + u32(static_cast<uint32_t>(value >> 32)) : low;
}

std::string bytes_of(size_t size, const Fields &fields)
{
    std::string bytes(size, '\0');
    for (const Field &field : fields) {
        const std::string value = value_bytes(field);
        EXPECT_LE(field.at + value.size(), size) << field.key;
        bytes.replace(field.at, value.size(), value);
    }
    return bytes;
}

/* What an empty form sends: integers -1, everything else 0. */
std::string absent_bytes(size_t size, const Fields &fields)
{
    std::string bytes(size, '\0');
    for (const Field &field : fields) {
        if (field.kind == 'i' || field.kind == '#') bytes.replace(field.at, 4, u32(~0u));
    }
    return bytes;
}

std::string form_of(const Fields &fields, const std::string &index = "")
{
    std::string form;
    for (const Field &field : fields) form += field.key + index + "=" + field.value + "&";
    return form;
}

std::string members_of(const Fields &fields)
{
    std::string members;
    for (const Field &field : fields) {
        const std::string quote = field.kind == 't' || field.kind == '#' ? "\"" : "";
        if (!members.empty()) members += ", ";
        members += "\"" + field.key + "\" : " + quote + field.value + quote;
    }
    return members;
}

/* With texts that fill their fields but for `less` bytes, or of a length of their own. */
Fields with_texts(size_t size, Fields fields, size_t less, size_t length = 0)
{
    for (size_t i = 0; i < fields.size(); ++i) {
        const size_t end = i + 1 < fields.size() ? fields[i + 1].at : size;
        const size_t filling = end - fields[i].at - less;
        if (fields[i].kind == 't') fields[i].value = std::string(length ? length : filling, 'x');
    }
    return fields;
}

/* The matrix and the arrays: 0100 0010 1000 0001, 17, 0100, 0010, 1001, 33, 37, 41. */
const std::string audio_bytes = "\0\1\0\0\0\0\1\0\1\0\0\0\0\0\0\1"s + u32(17) +
                                "\0\1\0\0\0\0\1\0\1\0\0\1"s + u32(33) + u32(37) + u32(41);
const std::string audio_form =
    "sdiHdmiOutput[0][1]=1&sdiHdmiOutput[1][2]=true&sdiHdmiOutput[2][0]=1&sdiHdmiOutput[3][3]=1"
    "&sdiHdmiOutput[0][4]=1&sdiHdmiOutput[4][0]=1&digitalOutput=17&aesOutput1[1]=1"
    "&aesOutput2[2]=1&aesOutput1[4]=1&analogOutput[0]=1&analogOutput[3]=1&balancedMode=33"
    "&volumeUnbalanced=37&volumeBalanced=41&sdiHdmiOutput=1111&aesOutput1=1111";
const std::string audio_members =
    R"("sdiHdmiOutput" : [ [ false,true,false,false ],[ false,false,true,false ],)"
    R"([ true,false,false,false ],[ false,false,false,true ] ], "digitalOutput" : 17, )"
    R"("aesOutput1" : [ false,true,false,false ], "aesOutput2" : [ false,false,true,false ], )"
    R"("analogOutput" : [ true,false,false,true ], "balancedMode" : 33, )"
    R"("volumeUnbalanced" : 37, "volumeBalanced" : 41)";
const std::string no_audio =
    text_field("", 16) + u32(~0u) + text_field("", 12) + u32(~0u) + u32(~0u) + u32(~0u);

/* The bit rates are 12.5 and 3 as IEEE singles. */
const std::string channel_info_bytes = u32(1) + u32(5) + u32(1920) + u32(1080) + u32(17) + u32(21) +
                                       u32(0x41480000) + u32(29) + u32(48000) + u32(37) + u32(128) +
                                       u32(0x40400000) + text_field("e2e", 255) +
                                       text_field("fec", 255) + text_field("01:02:03:04", 255) +
                                       text_field("708", 255) + text_field("AES", 255);
const std::string channel_info_members =
    R"("video": {"codec" : 1, "chromaSampling" : 5, "width" : 1920, "height" : 1080, )"
    R"("framerate" : 17, "scanType" : 21, "inputBitrate" : 12.5}, "audio": {"codec" : 29, )"
    R"("samplingFrequency" : 48000, "channels" : 37, "inputBitrate" : 128}, )"
    R"("systemBitrate" : 3.0, "endToEndLatency" : "e2e", "errorCorrection" : "fec", )"
    R"("vitc" : "01:02:03:04", "cc" : "708", "encryption" : "AES")";

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
        EXPECT_TRUE(message.payload == record) << to_hex(message.payload);
    }
};

/* Records that are more than fields, by their path. */
struct Composite {
    std::string bytes, members;
    std::string form = "", absent = ""; /* where it is written */
};

std::map<std::string, Composite> composites()
{
    const Fields video = record("video"), vbianc = record("vbianc");
    const Fields configuration = record("configuration"), talkback = record("talkback");
    return {
        {"/api/decoder/audio", {audio_bytes, audio_members, audio_form, no_audio}},
        {"/api/channel/info", {channel_info_bytes, channel_info_members}},
        {"/api/decoder",
         {bytes_of(33, video) + audio_bytes + bytes_of(22, configuration) + bytes_of(29, vbianc) +
              bytes_of(26, talkback),
          "\"video\": {" + members_of(video) + "}, \"audio\": {" + audio_members +
              "}, \"configuration\": {" + members_of(configuration) + "}, \"vbianc\": {" +
              members_of(vbianc) + "}, \"talkback\": {" + members_of(talkback) + "}"}},
    };
}

TEST_F(Records, AreReadAndWrittenFieldByField)
{
    const std::map<std::string, Composite> others = composites();
    for (const auto &[path, actions, size, fields] : resources::all_routes()) {
        const Fields too_long = with_texts(size, fields, 0, 9000);
        const Fields full = with_texts(size, fields, 0), cut = with_texts(size, fields, 1);
        for (const auto &[method, kind, command] : actions) {
            if (size == 0 || kind == resources::NONE || kind == resources::REMOVE) continue;
            SCOPED_TRACE(path + " " + std::to_string(command));
            if (fields.empty()) {
                ASSERT_TRUE(others.count(path)) << "its fields are not tested";
                const auto &[bytes, members, form, absent] = others.at(path);
                if (method == resources::GET) {
                    expect_read(path, command, bytes, members);
                } else {
                    expect_written(method, path, command, form, bytes);
                    expect_written(method, path, command, "", absent);
                }
            } else if (kind == resources::LIST) {
                expect_listed(path, command, bytes_of(size, fields), members_of(fields));
            } else if (method == resources::GET) {
                expect_read(path, command, bytes_of(size, fields), members_of(fields));
                expect_read(path, command, bytes_of(size, full), members_of(cut));
            } else if (command == 23) {
                /* Interfaces come one by one, until an identifier is missing. */
                const std::string more = "id[1]=-2&id[3]=4&type[3]=9";
                const std::string last = u32(-2u) + absent_bytes(size, fields).substr(4);
                expect_written(method, path, command, form_of(fields, "[0]") + more,
                               bytes_of(size, fields) + last);
                expect_written(method, path, command, form_of(too_long, "[0]"),
                               bytes_of(size, cut));
                expect_written(method, path, command, "", "");
            } else {
                expect_written(method, path, command, form_of(fields), bytes_of(size, fields));
                expect_written(method, path, command, form_of(too_long), bytes_of(size, cut));
                expect_written(method, path, command, "", absent_bytes(size, fields));
            }
        }
    }
}

TEST_F(Records, TakeFlagsAsTheyAreWritten)
{
    expect_read("/api/services", 37, "\x80", "\"discovery\" : true");
    expect_read("/api/services", 37, "\0"s, "\"discovery\" : false");
    for (const char *value : {"true", "1", "%31"})
        expect_written(resources::PUT, "/api/services", 38, "discovery="s + value, "\1");
    for (const char *value : {"TRUE", "True", "tru", "truee", "yes", "on", "01", "10", "2", "-1",
                              "0", "false", "", "+1"})
        expect_written(resources::PUT, "/api/services", 38, "discovery="s + value, "\0"s);
}

TEST_F(Records, OfInterfacesEndAtThirtyFour)
{
    std::string form, records;
    for (uint32_t i = 0; i <= 40; ++i) {
        form += "id[" + std::to_string(i) + "]=" + std::to_string(i) + "&";
        const std::string absent = absent_bytes(481, record("interface")).substr(4);
        if (i < 34) records += u32(i) + absent;
    }
    expect_written(resources::PUT, "/api/network", 23, form, records);
}

TEST_F(Records, ShowNumbersOfEveryLength)
{
    for (const char *text :
         {"0", "9", "10", "99", "100", "9999", "10000", "10099", "1000000", "2147483647",
          "4294967295", "4294967296", "10000000000", "18446744073709551615"}) {
        const uint64_t number = strtoull(text, nullptr, 10);
        const std::string low = u32(static_cast<uint32_t>(number));
        will_reply(61, 1,
                   low + text_field("", 20) + low + u32(static_cast<uint32_t>(number >> 32)) +
                       text_field("", 8));
        const std::string members = get("/api/srtStats").body;
        EXPECT_NE(members.find("\"droppedPackets\" : "s + text + ", "), std::string::npos)
            << members;
        if (number > 2147483647) continue;
        EXPECT_EQ(members.rfind("[ {\"totalBitrate\" : "s + text + ", ", 0), 0u) << members;
        will_reply(36, 1, u32(-static_cast<uint32_t>(number)) + u32(0) + u32(0));
        const std::string sign = number > 0 ? "-" : "";
        EXPECT_EQ(get("/api/leds").body.rfind("[ {\"ntp\" : " + sign + text + ", ", 0), 0u) << text;
    }
}

TEST_F(Records, ConvertIntegersLikeDecimals)
{
    const std::pair<const char *, uint32_t> cases[] = {
        {"", 0},
        {"12abc", 12},
        {"-3", 0xFFFFFFFD},
        {"+7", 7},
        {"%20%2042", 42},
        {"abc", 0},
        {"2147483647", 0x7FFFFFFF},
        {"-2147483648", 0x80000000},
        {"99999999999", 0x7FFFFFFF},
        {"-99999999999", 0x80000000},
    };
    for (const auto &[value, stored] : cases) {
        will_reply(9, 1, "");
        request(resources::PUT, "/api/decoder/video", std::string("hdmiMode=") + value);
        EXPECT_EQ(sent().payload.substr(7, 4), u32(stored)) << value;
    }
}

} // namespace
