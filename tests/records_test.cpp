/* Every record, both ways where it travels both ways: a distinctive value in
 * each field, its bytes at their offset, and the text of the answer. Offsets,
 * keys and values are written out; nothing is taken from the declarations. */
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/module_host.h"

namespace {

using namespace std::string_literals;

/* Kinds: i int32, q int32 shown in quotes, u uint64, b flag, t text. */
struct Field {
    size_t at;
    char kind;
    std::string key, value;
};
using Fields = std::vector<Field>;

std::string value_bytes(const Field &field)
{
    if (field.kind == 't') return field.value;
    if (field.kind == 'b') return field.value == "true" ? "\x01"s : "\0"s;
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
        const std::string quote = field.kind == 't' || field.kind == 'q' ? "\"" : "";
        if (!members.empty()) members += ", ";
        members += "\"" + field.key + "\" : " + quote + field.value + quote;
    }
    return members;
}

/* What an empty form sends: integers -1, everything else 0. */
std::string absent_bytes(size_t size, const Fields &fields)
{
    Fields integers;
    for (const Field &field : fields) {
        if (field.kind != 'i' && field.kind != 'q') continue;
        integers.push_back(field);
        integers.back().value = "-1";
    }
    return bytes_of(size, integers);
}

/* clang-format off */
const Fields stream = {
    {0, 'q', "id", "65537"}, {4, 'i', "protocol", "258"}, {8, 'i', "channelInput", "3"},
    {12, 't', "ipAddress", "239.1.2.4"}, {58, 'i', "port", "50005"}, {62, 'i', "programPid", "6"},
    {66, 'i', "videoPid", "7"}, {70, 'i', "audio1Pid", "8"}, {74, 'i', "audio2Pid", "9"},
    {78, 'b', "isSap", "true"}, {79, 'b', "isUll", "false"}, {80, 't', "name", "Cam 1"},
    {335, 'i', "fecPort1", "12"}, {339, 'i', "fecPort2", "13"}, {343, 't', "channelName", "chan"},
    {598, 't', "channelUserName", "user"}, {853, 't', "channelPassword", "pass"},
    {1108, 'b', "zixiUseBroadcaster", "true"}, {1109, 'i', "latency", "18"},
    {1113, 'b', "isStreamForwarding", "true"}, {1114, 't', "forwardingTargetAddress", "10.0.0.20"},
    {1160, 'i', "forwardingTargetPort", "21"}, {1164, 'i', "forwardingMulticastInterface", "22"},
    {1168, 'i', "forwardingUdpPacketSize", "23"}, {1172, 'i', "forwardingTtl", "24"},
    {1176, 'i', "status", "25"}, {1180, 'i', "aesEncryption", "26"}, {1184, 't', "aesKey", "0f1e"},
    {1439, 't', "rtmpServerUrl", "rtmp://h/s"},
};
const Fields sap_stream(stream.begin(), stream.begin() + 11);
const Fields channel_tail = {
    {1694, 'i', "videoCodec", "1"}, {1698, 'i', "audioCodec", "2"},
    {1702, 't', "resolution", "1920x1080"}, {1957, 'i', "outputResolution", "4"},
    {1961, 'b', "isKlv", "true"}, {1962, 'b', "isFec", "false"}, {1963, 'b', "isTalkback", "true"},
    {1964, 'i', "talkbackOption", "8"},
};
const Fields video = {
    {0, 'i', "outputResolution", "1"}, {4, 'b', "isPrimarySdi1", "true"},
    {5, 'b', "isPrimarySdi2", "false"}, {6, 'b', "isHdmi", "true"}, {7, 'i', "hdmiMode", "-8"},
    {11, 'i', "outputResolution2", "12"}, {15, 'b', "isSecondarySdi2", "false"},
    {16, 'b', "isComposite", "true"}, {17, 'i', "displayFormat", "18"},
    {21, 'i', "aspectRatio", "22"}, {25, 'i', "displayFormat2", "26"},
    {29, 'i', "aspectRatio2", "30"},
};
const Fields configuration = {
    {0, 'i', "clockSource", "1"}, {4, 'i', "bufferMode", "5"}, {8, 'i', "decoderBuffer", "9"},
    {12, 'i', "endToEndLatency", "13"}, {16, 'b', "isEnhancedErrorConcealment", "false"},
    {17, 'b', "isStreamLossBanner", "true"}, {18, 'i', "decoderStopImage", "19"},
};
const Fields vbianc = {
    {0, 'i', "closedCaptioning", "1"}, {4, 'i', "timecode", "5"}, {8, 'i', "afd", "9"},
    {12, 'i', "afdValue", "13"}, {16, 'b', "lineInsertionAuto", "true"},
    {17, 'i', "lineInsertionVitc", "18"}, {21, 'i', "lineInsertionCea708608", "22"},
    {25, 'i', "lineInsertionAfd", "26"},
};
const Fields talkback = {
    {0, 'i', "talkbackOption", "1"}, {4, 'i', "serverPort", "70005"},
    {8, 'i', "talkbackMicrophoneLevel", "9"}, {12, 'i', "talkbackMicrophoneType", "13"},
    {16, 'b', "isTalkbackMicrophoneMute", "false"}, {17, 'i', "talkbackMicrophoneGain", "18"},
    {21, 'b', "isTalkbackSpeakerMute", "true"}, {22, 'i', "talkbackSpeakerGain", "23"},
};
const Fields interface = {
    {0, 'q', "id", "1"}, {4, 'i', "type", "5"}, {8, 'i', "ip4Type", "9"},
    {12, 't', "ipAddress", "192.168.0.13"}, {58, 't', "networkMask", "255.255.255.0"},
    {74, 't', "defaultGateway", "192.168.0.75"}, {120, 'i', "ip6Type", "121"},
    {124, 't', "ip6AutoAddress", "fe80::125"}, {170, 'i', "ip6AutoPrefix", "171"},
    {174, 't', "ip6ManualAddress", "fd00::175"}, {220, 'i', "ip6ManualPrefix", "221"},
    {224, 'b', "isManagementAccess", "false"}, {225, 'b', "isPrimaryDefaultGateway", "true"},
    {226, 't', "hardwareAddress", "00:11:22:33:44:55"},
};
const Fields sap = {
    {0, 'b', "useDefaultAddressPort", "true"}, {1, 'i', "interface", "258"},
    {5, 't', "ipAddress", "239.255.255.255"}, {51, 'i', "port", "9875"},
};
const Fields security = {
    {0, 't', "currentPassword", "old"}, {255, 't', "newPassword", "new"},
    {510, 't', "hostname", "host"}, {765, 'b', "isBannerEnabled", "true"},
    {766, 't', "bannerText", "hello"}, {8959, 't', "certificateName", "cert.pem"},
};
const Fields notice = {{0, 'b', "isBannerEnabled", "true"}, {1, 't', "bannerText", "hello"}};
const Fields sysdatetime = {
    {0, 'b', "useNtp", "true"}, {1, 't', "ntpServerAddress", "pool.ntp.org"},
    {47, 'i', "ntpSyncPeriod", "48"}, {51, 't', "date", "2026-03-05"}, {306, 't', "time", "12:34:56"},
    {561, 't', "timeZone", "UTC"}, {816, 'b', "isDaylightSavingEnabled", "false"},
    {817, 't', "daylightSavingStartDate", "2026-03-29"},
    {1072, 't', "daylightSavingStopDate", "2026-10-25"},
    {1327, 'i', "daylightSavingStartHour", "2"}, {1331, 'i', "daylightSavingStopHour", "3"},
};
const Fields ports = {
    {0, 'i', "ethernet1", "1"}, {4, 'i', "ethernet2", "2"}, {8, 'i', "dvbAsiIn", "3"},
    {12, 'i', "dvbAsiOut", "4"}, {16, 'i', "serialAudioGenLock", "5"}, {20, 'i', "cvbs", "6"},
    {24, 'i', "hdmi", "7"}, {28, 'i', "sdi1", "8"}, {32, 'i', "sdi2", "9"}, {36, 'i', "power", "-1"},
};
const Fields leds = {{0, 'i', "ntp", "1"}, {4, 'i', "genlock", "2"}, {8, 'i', "talkback", "3"}};
const Fields services = {{0, 'b', "discovery", "true"}};
const Fields saved = {
    {0, 'q', "id", "7"}, {4, 't', "name", "studio"}, {259, 't', "description", "for A"},
    {514, 't', "created", "today"}, {769, 'b', "isAutoStart", "true"},
};
const Fields general = {
    {0, 't', "systemSerialNumber", "S1"}, {255, 't', "boardSerialNumber", "B2"},
    {510, 't', "hardware", "rev C"}, {765, 't', "software", "v4"},
};
const Fields upgrade = {
    {0, 'i', "status", "3"}, {4, 't', "stage", "writing"}, {259, 'i', "percent", "42"},
};
const Fields uptime = {
    {0, 't', "dateTime", "2026-03-05 12:34"}, {255, 't', "uptime", "1 day"},
    {510, 'i', "temperatureC", "-5"}, {514, 'i', "fansRPM", "4200"},
};
const Fields changes = {
    {0, 'i', "channelList", "1"}, {4, 'i', "configList", "2"}, {8, 'i', "channelInfo", "3"},
    {12, 'i', "portsInfo", "4"}, {16, 'i', "decoderParameters", "5"},
    {20, 'i', "networkParameters", "6"}, {24, 'i', "datetimeParameters", "2147483647"},
    {28, 'i', "software", "-1"},
};
const Fields zixi = {
    {0, 'i', "totalBitrate", "1"}, {4, 'i', "availableBitrate", "5"},
    {8, 'u', "reconnections", "8589934593"}, {16, 'i', "roundTimeTrip", "17"},
    {20, 'i', "jitter", "21"}, {24, 'i', "latency", "25"}, {28, 'u', "totalPackets", "29"},
    {36, 'i', "packetRate", "37"}, {40, 'i', "packetLoss", "-1"},
    {44, 'u', "droppedPackets", "18446744073709551615"}, {52, 'u', "recoveredPackets", "53"},
    {60, 'u', "nonRecoveredPackets", "4294967296"},
};
const Fields srt = {
    {0, 'i', "totalBitrate", "1"}, {4, 'i', "roundTimeTrip", "5"}, {8, 'i', "mtu", "1500"},
    {12, 'u', "totalPackets", "4294967296"}, {20, 'i', "packetLoss", "21"},
    {24, 'u', "droppedPackets", "25"}, {32, 'u', "recoveredPackets", "33"},
};

/* The matrix and the arrays: 0100 0010 1000 0001, 17, 0100, 0010, 1001, 33, 37, 41. */
const std::string audio_bytes =
    "\0\1\0\0" "\0\0\1\0" "\1\0\0\0" "\0\0\0\1" "\x11\0\0\0" "\0\1\0\0" "\0\0\1\0"
    "\1\0\0\1" "\x21\0\0\0" "\x25\0\0\0" "\x29\0\0\0"s;
const std::string audio_form =
    "sdiHdmiOutput[0][1]=1&sdiHdmiOutput[1][2]=true&sdiHdmiOutput[2][0]=1&sdiHdmiOutput[3][3]=1"
    "&sdiHdmiOutput[0][4]=1&sdiHdmiOutput[4][0]=1&digitalOutput=17&aesOutput1[1]=1"
    "&aesOutput2[2]=1&aesOutput1[4]=1&analogOutput[0]=1&analogOutput[3]=1&balancedMode=33"
    "&volumeUnbalanced=37&volumeBalanced=41";
const std::string audio_members =
    R"("sdiHdmiOutput" : [ [ false,true,false,false ],[ false,false,true,false ],)"
    R"([ true,false,false,false ],[ false,false,false,true ] ], "digitalOutput" : 17, )"
    R"("aesOutput1" : [ false,true,false,false ], "aesOutput2" : [ false,false,true,false ], )"
    R"("analogOutput" : [ true,false,false,true ], "balancedMode" : 33, )"
    R"("volumeUnbalanced" : 37, "volumeBalanced" : 41)";

/* 12.5 and 3 as IEEE singles at 24 and 44. */
const std::string channel_info_bytes = bytes_of(1323, {
    {0, 'i', "", "1"}, {4, 'i', "", "5"}, {8, 'i', "", "1920"}, {12, 'i', "", "1080"},
    {16, 'i', "", "17"}, {20, 'i', "", "21"}, {24, 't', "", "\x00\x00\x48\x41"s},
    {28, 'i', "", "29"}, {32, 'i', "", "48000"}, {36, 'i', "", "37"}, {40, 'i', "", "128"},
    {44, 't', "", "\x00\x00\x40\x40"s}, {48, 't', "", "e2e"}, {303, 't', "", "fec"},
    {558, 't', "", "01:02:03:04"}, {813, 't', "", "708"}, {1068, 't', "", "AES"}});
const std::string channel_info_members =
    R"("video": {"codec" : 1, "chromaSampling" : 5, "width" : 1920, "height" : 1080, )"
    R"("framerate" : 17, "scanType" : 21, "inputBitrate" : 12.5}, "audio": {"codec" : 29, )"
    R"("samplingFrequency" : 48000, "channels" : 37, "inputBitrate" : 128}, )"
    R"("systemBitrate" : 3.0, "endToEndLatency" : "e2e", "errorCorrection" : "fec", )"
    R"("vitc" : "01:02:03:04", "cc" : "708", "encryption" : "AES")";

const std::string summary_bytes = bytes_of(33, video) + audio_bytes + bytes_of(22, configuration) +
                                  bytes_of(29, vbianc) + bytes_of(26, talkback);
const std::string summary_members =
    "\"video\": {" + members_of(video) + "}, \"audio\": {" + audio_members +
    "}, \"configuration\": {" + members_of(configuration) + "}, \"vbianc\": {" +
    members_of(vbianc) + "}, \"talkback\": {" + members_of(talkback) + "}";

struct Read {
    const char *path;
    uint32_t command;
    std::string record, members;
};
const Read reads[] = {
    {"/api/stream/65537", 1, bytes_of(1694, stream), members_of(stream)},
    {"/api/decoder", 6, summary_bytes, summary_members},
    {"/api/decoder/video", 8, bytes_of(33, video), members_of(video)},
    {"/api/decoder/audio", 10, audio_bytes, audio_members},
    {"/api/decoder/configuration", 12, bytes_of(22, configuration), members_of(configuration)},
    {"/api/decoder/vbianc", 14, bytes_of(29, vbianc), members_of(vbianc)},
    {"/api/decoder/talkback", 16, bytes_of(26, talkback), members_of(talkback)},
    {"/api/channel", 18, bytes_of(1694, stream) + bytes_of(1968, channel_tail).substr(1694),
     members_of(stream) + ", " + members_of(channel_tail)},
    {"/api/channel/info", 21, channel_info_bytes, channel_info_members},
    {"/api/sap", 24, bytes_of(55, sap), members_of(sap)},
    {"/api/security", 28, bytes_of(9214, security), members_of(security)},
    {"/api/notice", 32, bytes_of(8194, notice), members_of(notice)},
    {"/api/sysdatetime", 33, bytes_of(1335, sysdatetime), members_of(sysdatetime)},
    {"/api/ports", 35, bytes_of(40, ports), members_of(ports)},
    {"/api/leds", 36, bytes_of(12, leds), members_of(leds)},
    {"/api/services", 37, "\x80", "\"discovery\" : true"},
    {"/api/services", 37, "\0"s, "\"discovery\" : false"},
    {"/api/configuration/7", 39, bytes_of(770, saved), members_of(saved)},
    {"/api/general", 44, bytes_of(1020, general), members_of(general)},
    {"/api/general/upgradeStatus", 48, bytes_of(263, upgrade), members_of(upgrade)},
    {"/api/general/freespace", 49, "\0\0\x10\0"s, "\"tmp\" : 1048576"},
    {"/api/uptime", 52, bytes_of(518, uptime), members_of(uptime)},
    {"/api/changes", 59, bytes_of(32, changes), members_of(changes)},
    {"/api/zixiStats", 60, bytes_of(68, zixi), members_of(zixi)},
    {"/api/srtStats", 61, bytes_of(40, srt), members_of(srt)},
};

struct Write {
    http_method_t method;
    const char *path;
    uint32_t command;
    std::string form, record, absent;
};
constexpr http_method_t PUT = HTTP_METHOD_PUT, POST = HTTP_METHOD_POST;
const Write writes[] = {
    {POST, "/api/stream", 2, form_of(stream), bytes_of(1694, stream), absent_bytes(1694, stream)},
    {PUT, "/api/stream/9", 3, form_of(stream), bytes_of(1694, stream), absent_bytes(1694, stream)},
    {PUT, "/api/decoder/video", 9, form_of(video), bytes_of(33, video), absent_bytes(33, video)},
    {PUT, "/api/decoder/audio", 11, audio_form, audio_bytes,
     std::string(16, '\0') + u32(-1u) + std::string(12, '\0') + u32(-1u) + u32(-1u) + u32(-1u)},
    {PUT, "/api/decoder/configuration", 13, form_of(configuration), bytes_of(22, configuration),
     absent_bytes(22, configuration)},
    {PUT, "/api/decoder/vbianc", 15, form_of(vbianc), bytes_of(29, vbianc), absent_bytes(29, vbianc)},
    {PUT, "/api/decoder/talkback", 17, form_of(talkback), bytes_of(26, talkback),
     absent_bytes(26, talkback)},
    {PUT, "/api/network", 23, form_of(interface, "[0]") + "id[1]=-2",
     bytes_of(481, interface) + u32(-2u) + absent_bytes(481, interface).substr(4), ""},
    {PUT, "/api/sap", 25, form_of(sap), bytes_of(55, sap), absent_bytes(55, sap)},
    {PUT, "/api/security", 29, form_of(security), bytes_of(9214, security), std::string(9214, '\0')},
    {POST, "/api/security/certificate", 30, "certificateName=/etc/c.pem",
     "/etc/c.pem" + std::string(4086, '\0'), std::string(4096, '\0')},
    {PUT, "/api/sysdatetime", 34, form_of(sysdatetime), bytes_of(1335, sysdatetime),
     absent_bytes(1335, sysdatetime)},
    {PUT, "/api/services", 38, "discovery=1", "\1", "\0"s},
    {POST, "/api/configuration", 40, form_of(saved), bytes_of(770, saved), absent_bytes(770, saved)},
    {PUT, "/api/configuration/9", 41, form_of(saved), bytes_of(770, saved), absent_bytes(770, saved)},
    {POST, "/api/general/firmwareUpgrade", 47, "packageName=/mnt/data/p.bin",
     "/mnt/data/p.bin" + std::string(4081, '\0'), std::string(4096, '\0')},
};
/* clang-format on */

class Records : public ModuleTest {};

TEST_F(Records, AreRenderedFieldByField)
{
    for (const Read &read : reads) {
        SCOPED_TRACE(read.path);
        const std::string text = "[ {" + read.members + "} ]";
        will_reply(read.command, 1, read.record);
        const Answer answer = request(HTTP_METHOD_GET, read.path);
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(answer.body, text);
        EXPECT_EQ(sent().type, read.command);

        will_reply(read.command, 1, read.record + "more");
        EXPECT_EQ(request(HTTP_METHOD_GET, read.path).body, text);
        will_reply(read.command, 1, read.record.substr(1));
        const bool is_item = strspn(strrchr(read.path, '/') + 1, "0123456789") > 0;
        EXPECT_EQ(request(HTTP_METHOD_GET, read.path).status, is_item ? 404 : 500) << "too short";
    }
}

TEST_F(Records, AreListed)
{
    struct {
        const char *path;
        uint32_t command;
        std::string record, members;
    } const lists[] = {
        {"/api/stream", 1, bytes_of(1694, stream), members_of(stream)},
        {"/api/network", 22, bytes_of(481, interface), members_of(interface)},
        {"/api/sap/stream", 26, bytes_of(80, sap_stream), members_of(sap_stream)},
        {"/api/configuration", 39, bytes_of(770, saved), members_of(saved)},
    };
    for (const auto &list : lists) {
        will_reply(list.command, 1, list.record);
        EXPECT_EQ(request(HTTP_METHOD_GET, list.path).body, "[\n{" + list.members + "}\n]");
        will_reply(list.command, 1, list.record + list.record);
        EXPECT_EQ(request(HTTP_METHOD_GET, list.path).body,
                  "[\n{" + list.members + "},\n{" + list.members + "}\n]");
    }
}

TEST_F(Records, AreFilledFieldByField)
{
    for (const Write &write : writes) {
        SCOPED_TRACE(write.path);
        will_reply(write.command, 1, "");
        request(write.method, write.path, write.form);
        const Sent full = sent();
        EXPECT_EQ(full.type, write.command);
        EXPECT_EQ(full.payload, write.record);

        will_reply(write.command, 1, "");
        request(write.method, write.path, "");
        EXPECT_EQ(sent().payload, write.absent) << "an empty form";
    }
}

TEST_F(Records, CutTextsAtTheirWidth)
{
    struct {
        http_method_t method;
        const char *path;
        const char *key;
        size_t offset, kept;
    } const cases[] = {
        {HTTP_METHOD_POST, "/api/stream", "ipAddress", 12, 45},
        {HTTP_METHOD_POST, "/api/stream", "name", 80, 254},
        {HTTP_METHOD_POST, "/api/stream", "rtmpServerUrl", 1439, 254},
        {HTTP_METHOD_PUT, "/api/network", "id[0]=1&networkMask[0]", 58, 15},
        {HTTP_METHOD_PUT, "/api/security", "bannerText", 766, 8192},
        {HTTP_METHOD_PUT, "/api/sysdatetime", "ntpServerAddress", 1, 45},
        {HTTP_METHOD_POST, "/api/configuration", "name", 4, 254},
        {HTTP_METHOD_POST, "/api/general/firmwareUpgrade", "packageName", 0, 4095},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.path) + " " + c.key);
        will_reply(0, 1, "");
        request(c.method, c.path, c.key + ("=" + std::string(9000, 'x')));
        const std::string payload = sent().payload;
        EXPECT_EQ(payload.substr(c.offset, c.kept + 1), std::string(c.kept, 'x') + '\0');
    }
}

TEST_F(Records, ShowTextsThatFillTheirFieldWithoutTheirLastByte)
{
    const std::string full(255, 'y');
    will_reply(52, 1, full + full + std::string(8, '\0'));
    EXPECT_EQ(request(HTTP_METHOD_GET, "/api/uptime").body,
              R"([ {"dateTime" : ")" + full.substr(1) + R"(", "uptime" : ")" + full.substr(1) +
                  R"(", "temperatureC" : 0, "fansRPM" : 0} ])");
}

TEST_F(Records, OfInterfacesEndWithTheFirstMissingIdAndAtThirtyFour)
{
    will_reply(23, 1, "");
    request(HTTP_METHOD_PUT, "/api/network", "id[0]=1&id[1]=2&id[3]=4&type[3]=9");
    EXPECT_EQ(sent().payload.size(), 2u * 481);

    std::string form;
    for (int i = 0; i <= 40; ++i)
        form += "id[" + std::to_string(i) + "]=" + std::to_string(i) + "&";
    will_reply(23, 1, "");
    request(HTTP_METHOD_PUT, "/api/network", form);
    const std::string payload = sent().payload;
    ASSERT_EQ(payload.size(), 16354u);
    EXPECT_EQ(payload.substr(33 * 481, 8), std::string("\x21\0\0\0\xFF\xFF\xFF\xFF", 8));
}

TEST_F(Records, ConvertIntegersLikeDecimals)
{
    struct {
        const char *value;
        std::string stored;
    } const cases[] = {
        {"", std::string(4, '\0')},
        {"12abc", std::string("\x0C\0\0\0", 4)},
        {"-3", std::string("\xFD\xFF\xFF\xFF", 4)},
        {"+7", std::string("\x07\0\0\0", 4)},
        {"%20%2042", std::string("\x2A\0\0\0", 4)},
        {"abc", std::string(4, '\0')},
        {"2147483647", std::string("\xFF\xFF\xFF\x7F", 4)},
        {"-2147483648", std::string("\0\0\0\x80", 4)},
        {"99999999999", std::string("\xFF\xFF\xFF\x7F", 4)},
        {"-99999999999", std::string("\0\0\0\x80", 4)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.value);
        will_reply(9, 1, "");
        request(HTTP_METHOD_PUT, "/api/decoder/video", std::string("hdmiMode=") + c.value);
        EXPECT_EQ(sent().payload.substr(7, 4), c.stored);
    }
}

} // namespace
