/* What a user does with the device, and what he gets to see. */
#include "tests/e2e/device.h"

namespace {

/* "[ {...} ]" without the list around. */
std::string object_in(const std::string &answer)
{
    return answer.size() > 4 ? answer.substr(2, answer.size() - 4) : answer;
}

/* The values of all members with the key, each with a blank behind it. */
std::string values_of(const std::string &key, const std::string &answer)
{
    std::string values;
    const std::string mark = quoted("'" + key + "' : ");
    for (size_t at = 0; (at = answer.find(mark, at)) != std::string::npos;) {
        at += mark.size();
        values += answer.substr(at, answer.find_first_of(",}", at) - at) + " ";
    }
    return values;
}

class Resources : public Device {
protected:
    int changes(const std::string &counter) const
    {
        return std::stoi(values_of(counter, get("/api/changes")));
    }
};

/* clang-format off */

TEST_F(Resources, ItemsAreMadeAndChangedAndGo)
{
    const struct {
        std::string path, act, id, form, made, change, changed, refused, counter;
        int count;
    } cases[] = {
        {"/api/stream", "/select/", "7", "name=Cam%201&port=5000&isSap=true&aesKey=%3c%22%5c",
         "'audio2Pid' : -1, 'isSap' : true, 'isUll' : false, 'name' : 'Cam 1'", "port=65535",
         "'ipAddress' : '', 'port' : 65535, 'programPid' : -1", "port=0", "channelList", 3},
        {"/api/configuration", "/activate/", "3", "name=Mine&description=a+b&created=x&isAutoStart=1",
         "'name' : 'Mine', 'description' : 'a+b', 'created' : 'x', 'isAutoStart' : true}", "name=Ours",
         "'name' : 'Ours', 'description' : 'a+b', 'created' : 'x', 'isAutoStart' : f", "", "configList", 5},
    };
    start();
    for (const auto &[path, act, id, form, made, change, changed, refused, counter, count] : cases) {
        SCOPED_TRACE(path);
        const int before = changes(counter);
        const std::string list = get(path), item = path + "/" + id;
        const Response created = client.request("POST", path, form);
        EXPECT_EQ(created.status, 201);
        EXPECT_EQ(created.own_headers(), json_headers);
        expect_texts(created.body, {"[ {'id' : '" + id + "', ", made});
        EXPECT_EQ(get(item), created.body);
        expect_texts(get(path), {",\n" + object_in(created.body) + "\n]"});

        expect_empty(client.put(path + "/1", "id=" + id + "&" + change), 204);
        expect_texts(get(item), {changed});
        if (!refused.empty()) expect_empty(client.put(item, "id=" + id + "&" + refused), 404);
        expect_texts(get(item), {changed});
        for (const std::string &active : {id, std::string("1")}) {
            expect_empty(ask("PUT " + path + act + active), 204);
        }
        expect_empty(ask("DELETE " + item), 204);
        for (const std::string &none : {id, std::string("99"), std::string("0")}) {
            expect_failure(client.get(path + "/" + none), 404);
            expect_failure(ask("DELETE " + path + "/" + none), 404);
            expect_empty(ask("PUT " + path + "/1 id=" + none), 404);
            expect_empty(ask("PUT " + path + act + none), 500);
        }
        EXPECT_EQ(get(path), list);
        EXPECT_EQ(changes(counter), before + count);
    }
}

TEST_F(Resources, SettingsReadBackAsTheyWereSet)
{
    const std::string decoder = "decoderParameters";
    const struct {
        std::string request, counter, path, text;
    } cases[] = {
        {"decoder/video outputResolution=9&isPrimarySdi2=1", decoder, "decoder/video",
         "'outputResolution' : 9, 'isPrimarySdi1' : false, 'isPrimarySdi2' : true, 'isHdmi' : false, "},
        {"decoder/video isHdmi=1", "portsInfo", "ports", "'hdmi' : 1, 'sdi1' : 0, 'sdi2' : 0, "},
        {"decoder/audio sdiHdmiOutput[1][2]=1&volumeBalanced=-7", decoder, "decoder/audio",
         "[ [ false,false,false,false ],[ false,false,true,false ],[ false,false,false,false ],[ f"},
        {"decoder/configuration decoderBuffer=60000", decoder, "decoder/configuration",
         "'decoderBuffer' : 60000, 'endToEndLatency' : 400, 'isEnhancedErrorConcealment' : false"},
        {"decoder/vbianc afdValue=15&lineInsertionAfd=20", decoder, "decoder/vbianc",
         "'afdValue' : 15, 'lineInsertionAuto' : false, 'lineInsertionVitc' : 14, 'line"},
        {"decoder/talkback serverPort=65535&isTalkbackSpeakerMute=1", decoder, "decoder/talkback",
         "'serverPort' : 65535, 'talkbackMicrophoneLevel' : 60, "},
        {"network id[0]=2&ipAddress[0]=10.0.0.2&id[1]=1&networkMask[1]=255.0.0.0", "networkParameters",
         "network", "'2', 'type' : 1, 'ip4Type' : 0, 'ipAddress' : '10.0.0.2', 'networkMask' : '255.255."},
        {"sap interface=2&ipAddress=ff02::1&port=1", "", "sap",
         "[ {'useDefaultAddressPort' : false, 'interface' : 2, 'ipAddress' : 'ff02::1', 'port' : 1} ]"},
        {"security hostname=new-name&newPassword=x&currentPassword=admin", "", "security",
         "'newPassword' : '', 'hostname' : 'new-name', 'isBannerEnabled' : false, 'bannerText' : 'Auth"},
        {"security isBannerEnabled=1&bannerText=%3cHi%3e", "", "notice",
         "[ {'isBannerEnabled' : true, 'bannerText' : '&lt;Hi&gt;'} ]"},
        {"sysdatetime date=2030-01-02&time=12:00:00", "datetimeParameters", "sysdatetime",
         "'ntpSyncPeriod' : 60, 'date' : '2030-01-02', 'time' : '12:0"},
        {"sysdatetime useNtp=true", "datetimeParameters", "leds", "'ntp' : 1, 'genlock' : 1, "},
        {"services discovery=0", "", "services", "[ {'discovery' : false} ]"},
        {"talkback/start", "channelInfo", "leds", "'talkback' : 1} ]"},
        {"talkback/stop", "channelInfo", "channel", "'isTalkback' : false"},
    };
    start();
    for (const auto &[request, counter, path, text] : cases) {
        SCOPED_TRACE(request);
        const std::string all = get("/api/changes");
        const int before = counter.empty() ? 0 : changes(counter);
        expect_empty(ask("PUT /api/" + request), 204);
        expect_texts(get("/api/" + path), {text});
        EXPECT_EQ(counter.empty() ? 0 : changes(counter) - before, counter.empty() ? 0 : 1);
        EXPECT_EQ(get("/api/changes") == all, counter.empty());
    }
    std::string summary;
    for (const std::string group : {"video", "audio", "configuration", "vbianc", "talkback"}) {
        summary += (summary.empty() ? "[ {'" : ", '") + group + "': ";
        summary += object_in(get("/api/decoder/" + group));
    }
    EXPECT_EQ(get("/api/decoder"), quoted(summary + "} ]"));
}

TEST_F(Resources, RefusedValuesAreNamed)
{
    const struct {
        std::string request, named;
    } cases[] = {
        {"POST /api/stream name=&port=1", "'name' "},
        {"POST /api/stream name=x&port=65536&videoPid=8192", "'port' 'videoPid' "},
        {"POST /api/stream name=x&port=none&ipAddress=239.1.2.300", "'ipAddress' 'port' "},
        {"POST /api/configuration description=x", "'name' "},
        {"PUT /api/decoder/talkback serverPort=70000", "'serverPort' "},
        {"PUT /api/network id[0]=1&id[1]=2&ipAddress[1]=1.2.3", "'ipAddress[1]' "},
        {"PUT /api/network id[0]=1&id[1]=9&networkMask[1]=x", "'id[1]' 'networkMask[1]' "},
        {"PUT /api/sap ipAddress=fd00::x&port=0", "'ipAddress' 'port' "},
        {"PUT /api/security newPassword=x&currentPassword=y", "'currentPassword' "},
        {"PUT /api/sysdatetime date=2030-13-01&time=24:00", "'date' 'time' "},
    };
    start();
    const std::string before = get("/api/changes");
    for (const auto &[request, named] : cases) {
        SCOPED_TRACE(request);
        const Response refused = ask(request);
        EXPECT_EQ(refused.status, 400);
        EXPECT_EQ(refused.own_headers(), json_headers);
        EXPECT_EQ(values_of("property", refused.body), quoted(named));
        EXPECT_EQ(refused.body.substr(0, 17), quoted("[\n{'message' : 'T"));
    }
    EXPECT_EQ(get("/api/changes"), before);
}

TEST_F(Resources, LongLists)
{
    start({"--streams", "100", "--interfaces", "34"});
    std::string streams, form, ids, addresses;
    for (int i = 1; i <= 100; ++i) {
        streams += (i > 1 ? ",\n" : "") + object_in(get("/api/stream/" + std::to_string(i)));
    }
    EXPECT_EQ(get("/api/stream"), "[\n" + streams + "\n]");
    for (int i = 0; i < 34; ++i) {
        const std::string index = "[" + std::to_string(33 - i) + "]=", id = std::to_string(i + 1);
        for (const char *key : {"id", "type", "ip6AutoPrefix"}) form += key + index + id + "&";
        for (const char *key : {"ipAddress", "defaultGateway"}) form += key + index + "10.0.0." + id + "&";
        ids += id + " ";
        addresses += "\"10.0.0." + id + "\" ";
    }
    expect_empty(client.put("/api/network", form), 204);
    const std::string interfaces = get("/api/network");
    for (const char *key : {"type", "ip6AutoPrefix"}) EXPECT_EQ(values_of(key, interfaces), ids);
    for (const char *key : {"ipAddress", "defaultGateway"}) EXPECT_EQ(values_of(key, interfaces), addresses);
}

TEST_F(Resources, TheChannelRunsAndStops)
{
    start();
    for (const std::string path : {"/api/zixiStats", "/api/srtStats", "/api/channel/info"}) {
        const std::string before = get(path);
        EXPECT_TRUE(wait_until([&] { return get(path) != before; })) << path;
    }
    const int before = changes("channelInfo");
    expect_empty(ask("PUT /api/channel/stop"), 204);
    expect_texts(get("/api/channel/info"), {"[ {'video': {'codec' : 0, 'chromaSampling' : 0, 'width' : 0, "});
    expect_texts(get("/api/stream/1"), {"'status' : 0"});
    expect_empty(ask("PUT /api/stream/select/2"), 204);
    expect_empty(ask("PUT /api/channel/start"), 204);
    expect_texts(get("/api/channel/info"), {"'width' : 1920, "});
    expect_texts(get("/api/channel"), {"'id' : '2'", "'status' : 1", "'resolution' : '1920x1080p50'"});
    EXPECT_EQ(changes("channelInfo"), before + 3);

    expect_empty(ask("DELETE /api/stream/2"), 204);
    expect_texts(get("/api/channel"), {"[ {'id' : '-1'"});
    expect_empty(ask("PUT /api/channel/start"), 500);
    expect_empty(ask("PUT /api/general/factoryReset"), 204);
    EXPECT_EQ(values_of("id", get("/api/stream")), quoted("'1' '2' '3' '4' '5' '6' "));
    expect_empty(ask("PUT /api/general/restart"), 204);
    expect_texts(get("/api/uptime"), {"'uptime' : '0 days 00:00:0"});
}

TEST_F(Resources, FaultsOfTheDaemon)
{
    const struct {
        std::string fault, request;
        int status;
        bool closes; /* the connection, on a stock server */
        std::string text;
    } cases[] = {
        {"delay=50@CMD_UPTIME_GET", "GET /api/uptime", 200, false, "'uptime' : '0 "},
        {"oversize@CMD_SAP_GET", "GET /api/sap", 200, false, "'port' : 9875} ]"},
        {"wrong-echo@CMD_CHANNEL_STOP", "PUT /api/channel/stop", 500, false, ""},
        {"wrong-type@CMD_LEDS_GET", "GET /api/leds", 500, true, ""},
        {"bad-checksum@CMD_STREAM_GET", "GET /api/stream/1", 404, true, ""},
        {"short-payload@CMD_DECODER_GET", "GET /api/decoder", 500, true, ""},
        {"short-record@CMD_CONFIGURATION_GET", "GET /api/configuration", 500, true, ""},
        {"refuse@CMD_NOTICE_GET", "GET /api/notice", 500, true, ""},
        {"refuse@CMD_SAP_SET", "PUT /api/sap", 400, false, "'useDefaultAddressPort'}\n]"},
        {"refuse=0@CMD_SERVICES_SET", "PUT /api/services", 500, true, ""},
        {"refuse@CMD_STREAM_SET", "PUT /api/stream/1", 404, false, ""},
        {"close@CMD_SRT_STATS_GET", "GET /api/srtStats", 500, true, ""},
    };
    Texts options;
    for (const auto &one : cases) options.insert(options.end(), {"--fault", one.fault + "*1"});
    start(options);
    for (const auto &[fault, request, status, closes, text] : cases) {
        SCOPED_TRACE(fault);
        const Response response = ask(request);
        EXPECT_EQ(response.status, closes && server_under_test().stock ? 0 : status);
        EXPECT_EQ(response.body == "", text == "");
        expect_texts(response.body, {text});
        EXPECT_EQ(get("/api/changes") == "", fault.starts_with("close"));
    }
}

/* clang-format on */

} // namespace
