#include "simulator/rules.h"

#include <arpa/inet.h>

#include <algorithm>
#include <iterator>
#include <regex>
#include <span>

#include "handlers/admin/records.h"
#include "simulator/format.h"
#include "sysmng/plugin_data.h"

namespace {

using namespace records;

bool is_address(int family, const std::string &text)
{
    in6_addr room_for_both;
    return inet_pton(family, text.c_str(), &room_for_both) == 1;
}

bool is_ip4(const std::string &text)
{
    return is_address(AF_INET, text);
}

bool is_ip6(const std::string &text)
{
    return is_address(AF_INET6, text);
}

bool is_ip(const std::string &text)
{
    return is_ip4(text) || is_ip6(text);
}

bool is_mask(const std::string &text)
{
    in_addr address;
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) return false;
    const uint32_t zeros = ~ntohl(address.s_addr);
    return (zeros & (zeros + 1)) == 0;
}

/* Digits alone in the last part would be a malformed address. */
bool is_hostname(const std::string &text)
{
    static const std::regex form(
        "([a-z0-9]([a-z0-9-]{0,61}[a-z0-9])?\\.)*"
        "(?![0-9]+$)[a-z0-9]([a-z0-9-]{0,61}[a-z0-9])?",
        std::regex::icase);
    return std::regex_match(text, form);
}

bool is_host(const std::string &text)
{
    return is_ip(text) || is_hostname(text);
}

bool is_date(const std::string &text)
{
    static const std::regex form("[0-9]{4}-(0[1-9]|1[0-2])-(0[1-9]|[12][0-9]|3[01])");
    return std::regex_match(text, form);
}

bool is_time(const std::string &text)
{
    static const std::regex form("([01][0-9]|2[0-3]):[0-5][0-9](:[0-5][0-9])?");
    return std::regex_match(text, form);
}

/* The bytes that an answer has for a text when the record's other values are as
 * long as they can be. */
constexpr uint32_t room_for(const char *key, const Record &record)
{
    uint32_t room = REPLY_BUF_SIZE - 1;
    room -= static_cast<uint32_t>(sizeof("[ {} ]") - 1) + 2 * (record.count - 1); /* ", " */
    for (const Field &field : std::span(record.fields, record.count)) {
        const bool is_text = field.kind == FieldKind::Text;
        room -= field.lead.length + (is_text ? 2U : 1U); /* and quotes */
        if (!record_check::same(field.key, key)) room -= is_text ? field.width - 1 : 5;
    }
    return room;
}

/* The answer of GET /api/security ends where the reply buffer does: with a longer
 * text it would not be whole JSON. GET /api/notice has more room. */
constexpr uint32_t longest_banner = 3968;
static_assert(longest_banner == room_for("bannerText", security_record));

bool fits_answer(const std::string &text)
{
    size_t length = text.size(); /* in JSON */
    for (const char c : text) {
        if (c == '<' || c == '>') length += 3; /* &lt; */
        if (c == '"' || c == '\\') length += 1;
    }
    return length <= longest_banner;
}

/* A text has to pass a test; a number has to lie between two bounds. */
struct Check {
    const char *complaint;
    bool (*is)(const std::string &text);
    const char *what;
    int32_t low, high;
};

constexpr Check passing(const char *complaint, bool (*is)(const std::string &text))
{
    return {complaint, is, nullptr, 0, 0};
}

constexpr Check bounds(const char *what, int32_t low, int32_t high)
{
    return {nullptr, nullptr, what, low, high};
}

constexpr Check port = bounds("The port", 1, 65535);
constexpr Check pid = bounds("The PID", 0, 8191);
constexpr Check milliseconds = bounds("The time in milliseconds", 0, 60000);
constexpr Check volume = bounds("The volume", -100, 100);
constexpr Check address = passing("The address must be an IPv4 or IPv6 address.", is_ip);
constexpr Check ip4 = passing("The address must be one such as 192.168.1.20.", is_ip4);
constexpr Check ip6 = passing("The address must be one such as fd00::20.", is_ip6);
constexpr Check mask = passing("The mask must be one such as 255.255.255.0.", is_mask);
constexpr Check hostname = passing("The name must be of letters, digits, hyphens.", is_hostname);
constexpr Check host = passing("The server must be an IP address or a host name.", is_host);
constexpr Check date = passing("The date must look like 2025-12-31.", is_date);
constexpr Check clock_time = passing("The time must look like 23:59 or 23:59:59.", is_time);
constexpr Check banner = passing(
    "The banner text may be at most 3968 bytes long, where < and > count as 4 bytes, and a double "
    "quote and a backslash as 2.",
    fits_answer);

constexpr size_t most_keys = 5;

struct Rule {
    const Record &record;
    Check check;
    const char *keys[most_keys]; /* the last ones may be null */
};

constexpr Rule rules[] = {
    {stream_record, address, {"ipAddress", "forwardingTargetAddress"}},
    {stream_record, port, {"port", "fecPort1", "fecPort2", "forwardingTargetPort"}},
    {stream_record, pid, {"programPid", "videoPid", "audio1Pid", "audio2Pid"}},
    {stream_record, milliseconds, {"latency"}},
    {stream_record, bounds("The packet size", 188, 9000), {"forwardingUdpPacketSize"}},
    {stream_record, bounds("The time to live", 0, 255), {"forwardingTtl"}},
    {decoder_audio_record, volume, {"volumeUnbalanced", "volumeBalanced"}},
    {decoder_configuration_record, milliseconds, {"decoderBuffer", "endToEndLatency"}},
    {decoder_vbianc_record, bounds("The AFD value", 0, 15), {"afdValue"}},
    {decoder_vbianc_record,
     bounds("The line", 0, 1125),
     {"lineInsertionVitc", "lineInsertionCea708608", "lineInsertionAfd"}},
    {decoder_talkback_record, port, {"serverPort"}},
    {decoder_talkback_record,
     volume,
     {"talkbackMicrophoneLevel", "talkbackMicrophoneGain", "talkbackSpeakerGain"}},
    {network_interface_record, ip4, {"ipAddress", "defaultGateway"}},
    {network_interface_record, mask, {"networkMask"}},
    {network_interface_record, ip6, {"ip6AutoAddress", "ip6ManualAddress"}},
    {network_interface_record,
     bounds("The prefix length", 0, 128),
     {"ip6AutoPrefix", "ip6ManualPrefix"}},
    {sap_record, address, {"ipAddress"}},
    {sap_record, port, {"port"}},
    {security_record, hostname, {"hostname"}},
    {security_record, banner, {"bannerText"}},
    {sysdatetime_record, host, {"ntpServerAddress"}},
    {sysdatetime_record, bounds("The period", 1, 604800), {"ntpSyncPeriod"}},
    {sysdatetime_record, date, {"date", "daylightSavingStartDate", "daylightSavingStopDate"}},
    {sysdatetime_record, clock_time, {"time"}},
    {sysdatetime_record,
     bounds("The hour", 0, 23),
     {"daylightSavingStartHour", "daylightSavingStopHour"}},
};

constexpr bool keys_exist()
{
    for (const Rule &rule : rules) {
        const Record &record = rule.record;
        for (const char *key : rule.keys) {
            if (key && record_check::uses_of(key, {record.fields, record.count}) != 1) return false;
        }
    }
    return true;
}
static_assert(keys_exist());

bool applies(const Rule &rule, const Record &record, const std::string &key)
{
    const auto is_key = [&](const char *one) { return one && one == key; };
    return &rule.record == &record &&
           std::any_of(std::begin(rule.keys), std::end(rule.keys), is_key);
}

std::string complaint_of(const Check &check)
{
    if (check.complaint) return check.complaint;
    return format("%s must be from %d to %d.", check.what, check.low, check.high);
}

/* The complaint about a value that doesn't pass, else an empty text. */
std::string problem(const Check &check, const RecordBytes &request, const std::string &key)
{
    if (check.is) {
        const std::string text = get_text(request, key);
        const bool good = text.empty() || check.is(text);
        return good ? "" : complaint_of(check);
    }
    const int32_t value = get_int(request, key);
    const bool good = value == -1 || (value >= check.low && value <= check.high);
    return good ? "" : complaint_of(check);
}

} // namespace

std::string rule_for(const Record &record, const std::string &key)
{
    for (const Rule &rule : rules) {
        if (applies(rule, record, key)) return complaint_of(rule.check);
    }
    return "";
}

std::string form_parameter(const std::string &key, int index)
{
    return index == no_request_index ? key : format("%s[%d]", key.c_str(), index);
}

Complaints check_record(const RecordBytes &request, int index)
{
    Complaints complaints;
    for (const Leaf &leaf : leaves(*request.record)) {
        for (const Rule &rule : rules) {
            if (!applies(rule, *request.record, leaf.key)) continue;
            const std::string message = problem(rule.check, request, leaf.key);
            if (!message.empty()) complaints.push_back({message, form_parameter(leaf.key, index)});
        }
    }
    return complaints;
}
