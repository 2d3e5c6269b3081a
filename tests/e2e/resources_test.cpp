/* What a user does with the device, and what he gets to see. */
#include "tests/e2e/device.h"

namespace {

/* "[ {...} ]" without the list around. */
std::string object_in(const std::string &answer)
{
    return answer.size() > 4 ? answer.substr(2, answer.size() - 4) : answer;
}

/* The values of all members with the key, each with a blank after it. */
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

struct Resources : public Device {
    int changes(const std::string &counter) const
    {
        return counter.empty() ? 0 : std::stoi(values_of(counter, get("/api/changes")));
    }
};

/* clang-format off */

TEST_F(Resources, ItemsAreMadeAndChangedAndGo)
{
    const struct {
        std::string path, act, id, form, made, change, changed, refused, counter;
        int times_counted;
    } cases[] = {
        {"/api/stream", "/select/", "7", "name=Cam%201&port=5000&isSap=true&aesKey=%3c%22%5c",
         "'audio2Pid' : -1, 'isSap' : true, 'isUll' : false, 'name' : 'Cam 1'", "port=65535",
         "'ipAddress' : '', 'port' : 65535, 'programPid' : -1", "port=0", "channelList", 3},
        {"/api/configuration", "/activate/", "3", "name=Mine&description=a+b&isAutoStart=1",
         "'name' : 'Mine', 'description' : 'a+b', 'created' : '2", "name=Ours&created=now",
         "'name' : 'Ours', 'description' : 'a+b', 'created' : 'now', ", "", "configList", 5},
    };
    start();
    for (const auto &[path, act, id, form, made, change, changed, refused, counter, n] : cases) {
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
        if (!refused.empty()) expect_empty(client.put(item, "id=" + id + "&" + refused), 404);
        expect_texts(get(item), {changed});
        expect_empty(client.put(path + act + id, ""), 204);
        expect_empty(client.put(path + act + "1", ""), 204);
        expect_empty(ask("DELETE " + item), 204);
        for (const std::string &none : {id, std::string("99"), std::string("0")}) {
            expect_failure(client.get(path + "/" + none), 404);
            expect_failure(ask("DELETE " + path + "/" + none), 404);
            expect_empty(client.put(path + "/1", "id=" + none), 404);
            expect_empty(client.put(path + act + none, ""), 500);
        }
        EXPECT_EQ(get(path), list);
        EXPECT_EQ(changes(counter), before + n);
    }
}

TEST_F(Resources, SettingsReadBackAsTheyWereSet)
{
    const std::string decoder = "decoderParameters", channel = "channelInfo";
    const std::string network = "networkParameters", time = "datetimeParameters";
    const std::string cases[][4] = { /* PUT, the counter that moves, GET, a text of its answer */
        {"decoder/video isPrimarySdi2=1", decoder, "decoder/video", "Sdi2' : true, 'isHdmi' : f"},
        {"decoder/video isHdmi=1", "portsInfo", "ports", "'hdmi' : 1, 'sdi1' : 0, 'sdi2' : 0, "},
        {"decoder/audio sdiHdmiOutput[1][2]=1", decoder, "decoder/audio",
         "[ [ false,false,false,false ],[ false,false,true,false ],[ false,false,false,false ],["},
        {"decoder/talkback serverPort=65535", decoder, "decoder/talkback", "'serverPort' : 65535"},
        {"talkback/start", channel, "leds", "'talkback' : 1} ]"},
        {"network id[0]=2&ipAddress[0]=10.0.0.2&id[1]=1&ip4Type[1]=3", network, "network",
         "'id' : '2', 'type' : 1, 'ip4Type' : 0, 'ipAddress' : '10.0.0.2', 'networkMask' : '255.2"},
        {"sap interface=2&ipAddress=ff02::1", "", "sap", "' : 2, 'ipAddress' : 'ff02::1'"},
        {"security hostname=new&newPassword=x&currentPassword=admin", "", "security",
         "'newPassword' : '', 'hostname' : 'new', 'isBannerEnabled' : false, 'bannerText' : 'Auth"},
        {"security isBannerEnabled=1&bannerText=%3cHi%3e", "", "notice",
         "[ {'isBannerEnabled' : true, 'bannerText' : '&lt;Hi&gt;'} ]"},
        {"sysdatetime date=2030-01-02", time, "sysdatetime", "'date' : '2030-01-0"},
        {"services discovery=0", "", "services", "[ {'discovery' : false} ]"},
        {"channel/stop", channel, "channel/info", "[ {'video': {'codec' : 0, 'chromaSampling' : 0"},
        {"stream/select/2", channel, "channel", "[ {'id' : '2', 'protocol' : 0, 'channelInput' "},
        {"channel/start", channel, "stream/2", "'status' : 1, 'aesEncryption' : 0, 'aesKey' : "},
        {"general/factoryReset", decoder, "channel", "[ {'id' : '1', 'protocol' : 1, 'channelInp"},
        {"general/restart", "", "uptime", "'uptime' : '0 days 00:00:0"},
    };
    start();
    for (const std::string path : {"/api/zixiStats", "/api/srtStats", "/api/channel/info"}) {
        const std::string before = get(path);
        EXPECT_TRUE(wait_until([&] { return get(path) != before; })) << path;
    }
    for (const auto &[request, counter, path, text] : cases) {
        SCOPED_TRACE(request);
        const std::string all = get("/api/changes");
        const int before = changes(counter);
        expect_empty(ask("PUT /api/" + request), 204);
        expect_texts(get("/api/" + path), {text});
        EXPECT_EQ(changes(counter) - before, counter.empty() ? 0 : 1);
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
    const std::pair<std::string, std::string> cases[] = {
        {"POST /api/stream name=&port=65536&videoPid=8192&fecPort1=0&ipAddress=239.1.2.300",
         "'ipAddress' 'port' 'videoPid' 'fecPort1' 'name' "},
        {"PUT /api/network id[0]=1&id[1]=9&networkMask[1]=255.0.255.0", "'id[1]' 'networkMask[1]' "},
        {"PUT /api/security newPassword=x&currentPassword=y", "'currentPassword' "},
        {"PUT /api/sysdatetime date=2030-13-01&time=24:00&ntpServerAddress=1.2.3.4.5",
         "'ntpServerAddress' 'date' 'time' "},
    };
    start();
    const std::string before = get("/api/changes");
    for (const auto &[request, named] : cases) {
        const Response refused = ask(request);
        EXPECT_EQ(refused.status, 400) << request;
        EXPECT_EQ(refused.own_headers(), json_headers) << request;
        EXPECT_EQ(values_of("property", refused.body), quoted(named)) << request;
    }
    EXPECT_EQ(get("/api/changes"), before);
}

TEST_F(Resources, ABannerIsShownWholeOrRefused)
{
    const struct { std::string text; size_t times; int status; } cases[] = {
        {"a", 3968, 204}, {"a", 3969, 400}, {"%3c", 992, 204}, {"%3e", 993, 400},
        {"%22", 1984, 204}, {"%5c", 1985, 400}, {"%c3%a4", 1984, 204}, {"%c3%a4", 1985, 400},
        {"a", 8193, 400},
    };
    const std::string label(62, 'h'), name = label + "h." + label + "h." + label + "h." + label;
    start();
    const std::string others = "hostname=" + name + "&certificateName=" + std::string(254, 'c');
    expect_empty(client.put("/api/security", others), 204);
    for (const auto &[text, times, status] : cases) {
        SCOPED_TRACE(text + " " + std::to_string(times));
        std::string form = "bannerText=";
        for (size_t i = 0; i < times; ++i) form += text;
        const Response answer = client.put("/api/security", form);
        EXPECT_EQ(answer.status, status);
        if (status != 204) expect_texts(answer.body, {" 3968 bytes ", "'property' : 'bannerText'"});
        EXPECT_EQ(get("/api/security").size(), 4611) << "5119, less two passwords of 254 bytes";
        EXPECT_TRUE(get("/api/security").ends_with(quoted("cc'} ]")));
        EXPECT_TRUE(get("/api/notice").ends_with(quoted("'} ]")));
    }
}

TEST_F(Resources, ThePageIsKeptUnderItsVersion)
{
    start({"--software", "7 b"});
    EXPECT_EQ(client.get("/").header("location"), "/v7 b");
    expect_texts(get("/v7%20b/index.html"), {"<title>"});
}

/* clang-format on */

} // namespace
