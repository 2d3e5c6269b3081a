/* What a user does with the device, and what he gets to see. */
#include "tests/e2e/device.h"

namespace {

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

TEST_F(Resources, ChangesAreReadBackAndCounted)
{
    const std::string decoder = "decoderParameters", channel = "channelInfo";
    const std::string network = "networkParameters", time = "datetimeParameters";
    const std::string streams = "channelList", saved = "configList";
    const struct {
        std::string request;
        int status;
        std::string counter, path, text; /* what moves, and what is to be read then */
    } cases[] = {
        {"POST /api/stream name=Cam", 201, streams, "stream/7", "'isUll' : false, 'name' : 'Cam'"},
        {"PUT /api/stream/1 id=7&port=65535", 204, streams, "stream/7", "'port' : 65535"},
        {"PUT /api/stream/7 id=7&port=0", 404, "", "stream/7", "'port' : 65535"},
        {"PUT /api/stream/1 id=99", 404, "", "stream/1", "'id' : '1'"},
        {"DELETE /api/stream/7", 204, streams, "stream", "[\n{'id' : '1'"},
        {"PUT /api/stream/select/7", 500, "", "channel", "[ {'id' : '1'"},
        {"POST /api/configuration name=Mine", 201, saved, "configuration/3", "'created' : '2"},
        {"PUT /api/configuration/activate/3", 204, saved, "configuration/3", "'name' : 'Mine'"},
        {"DELETE /api/configuration/3", 204, saved, "configuration", "[\n{'id' : '1'"},
        {"PUT /api/configuration/activate/3", 500, "", "configuration", "[\n{'id' : '1'"},
        {"PUT /api/decoder/video isHdmi=1", 204, "portsInfo", "ports", "'hdmi' : 1, 'sdi1' : 0"},
        {"PUT /api/decoder/talkback serverPort=1", 204, decoder, "decoder/talkback", "' : 1, '"},
        {"PUT /api/talkback/start", 204, channel, "leds", "'talkback' : 1} ]"},
        {"PUT /api/network id[0]=2&ipAddress[0]=10.0.0.2&id[1]=1&ip4Type[1]=3", 204, network,
         "network",
         "'id' : '2', 'type' : 1, 'ip4Type' : 0, 'ipAddress' : '10.0.0.2', 'networkMask"},
        {"PUT /api/security hostname=new&newPassword=x&currentPassword=admin", 204, "", "security",
         "'newPassword' : '', 'hostname' : 'new', 'isBannerEnabled' : false, 'bannerText' : 'Auth"},
        {"PUT /api/security isBannerEnabled=1&bannerText=%3cHi%3e", 204, "", "notice",
         "[ {'isBannerEnabled' : true, 'bannerText' : '&lt;Hi&gt;'} ]"},
        {"PUT /api/sysdatetime date=2030-01-02", 204, time, "sysdatetime", "'date' : '2030-01-0"},
        {"PUT /api/services discovery=0", 204, "", "services", "[ {'discovery' : false} ]"},
        {"PUT /api/channel/stop", 204, channel, "channel/info", "[ {'video': {'codec' : 0, "},
        {"PUT /api/stream/select/2", 204, channel, "channel", "[ {'id' : '2', 'protocol' : 0, "},
        {"PUT /api/channel/start", 204, channel, "stream/2", "'status' : 1, 'aesEncryption' : 0, "},
        {"PUT /api/general/factoryReset", 204, decoder, "channel", "[ {'id' : '1', 'protocol' : 1"},
        {"PUT /api/general/restart", 204, "", "uptime", "'uptime' : '0 days 00:00:0"},
    };
    start();
    for (const std::string path : {"/api/zixiStats", "/api/srtStats", "/api/channel/info"}) {
        const std::string before = get(path);
        EXPECT_TRUE(wait_until([&] { return get(path) != before; })) << path;
    }
    for (const auto &[request, status, counter, path, text] : cases) {
        SCOPED_TRACE(request);
        const std::string all = get("/api/changes");
        const int before = changes(counter);
        const int seen = ask(request).status;
        EXPECT_TRUE(seen == status || (seen == 0 && server_under_test().stock)) << seen;
        expect_text(get("/api/" + path), text);
        EXPECT_EQ(changes(counter) - before, counter.empty() ? 0 : 1);
        EXPECT_EQ(get("/api/changes") == all, counter.empty());
    }
}

TEST_F(Resources, RefusedValuesAreNamed)
{
    const std::pair<std::string, std::string> cases[] = {
        {"POST /api/stream name=&port=65536&videoPid=8192&fecPort1=0&ipAddress=239.1.2.300",
         "'ipAddress' 'port' 'videoPid' 'fecPort1' 'name' "},
        {"PUT /api/network id[0]=1&id[1]=9&networkMask[1]=255.0.255.0",
         "'id[1]' 'networkMask[1]' "},
        {"PUT /api/security newPassword=x&currentPassword=y", "'currentPassword' "},
        {"PUT /api/security bannerText=" + std::string(3969, 'a'), "'bannerText' "},
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

} // namespace
