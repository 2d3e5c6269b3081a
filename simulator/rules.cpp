#include "simulator/rules.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "handlers/admin/records.h"
#include "simulator/format.h"

namespace {

using namespace records;

bool is_ip4(const std::string &text)
{
    in_addr address;
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool is_ip6(const std::string &text)
{
    in6_addr address;
    return inet_pton(AF_INET6, text.c_str(), &address) == 1;
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

bool is_label(const std::string &label)
{
    const auto allowed = [](unsigned char c) { return isalnum(c) || c == '-'; };
    return !label.empty() && label.size() <= 63 && label.front() != '-' && label.back() != '-' &&
           std::all_of(label.begin(), label.end(), allowed);
}

/* Digits alone in the last part would be a malformed address. */
bool is_hostname(const std::string &text)
{
    size_t begin = 0;
    for (;;) {
        const size_t point = text.find('.', begin);
        const std::string label = text.substr(begin, point - begin);
        if (!is_label(label)) return false;
        if (point == std::string::npos) {
            return label.find_first_not_of("0123456789") != std::string::npos;
        }
        begin = point + 1;
    }
}

bool is_host(const std::string &text)
{
    return is_ip(text) || is_hostname(text);
}

/* A 0 of the form stands for any digit. */
bool has_form(const std::string &text, const std::string &form)
{
    const auto fits = [](char c, char wanted) {
        return wanted == '0' ? c >= '0' && c <= '9' : c == wanted;
    };
    return text.size() == form.size() && std::equal(text.begin(), text.end(), form.begin(), fits);
}

bool is_date(const std::string &text)
{
    if (!has_form(text, "0000-00-00")) return false;
    const int month = atoi(text.c_str() + 5), day = atoi(text.c_str() + 8);
    return month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

bool is_time(const std::string &text)
{
    if (has_form(text, "00:00")) return is_time(text + ":00");
    return has_form(text, "00:00:00") && atoi(text.c_str()) <= 23 && atoi(text.c_str() + 3) <= 59 &&
           atoi(text.c_str() + 6) <= 59;
}

/* A text has to pass a test; a number has to lie between two bounds. */
struct Check {
    const char *what;
    const char *must; /* null: the bounds say it */
    bool (*is)(const std::string &text);
    int32_t low, high;
};

constexpr Check bounds(const char *what, int32_t low, int32_t high)
{
    return {what, nullptr, nullptr, low, high};
}

constexpr Check port = bounds("The port", 1, 65535);
constexpr Check pid = bounds("The PID", 0, 8191);
constexpr Check milliseconds = bounds("The time in milliseconds", 0, 60000);
constexpr Check hour = bounds("The hour", 0, 23);
constexpr Check line = bounds("The line", 0, 1125);
constexpr Check prefix = bounds("The prefix length", 0, 128);
constexpr Check volume = bounds("The volume", -100, 100);
constexpr Check address = {"The address", "must be an IPv4 or IPv6 address, such as 192.168.1.20.",
                           is_ip, 0, 0};
constexpr Check ip4 = {"The address", "must be an IPv4 address, such as 192.168.1.20.", is_ip4, 0,
                       0};
constexpr Check ip6 = {"The address", "must be an IPv6 address, such as fd00::20.", is_ip6, 0, 0};
constexpr Check mask = {"The network mask", "must be one such as 255.255.255.0.", is_mask, 0, 0};
constexpr Check hostname = {"The host name", "must be made of letters, digits and hyphens.",
                            is_hostname, 0, 0};
constexpr Check host = {"The server", "must be an IP address or a host name.", is_host, 0, 0};
constexpr Check date = {"The date", "must look like 2025-12-31.", is_date, 0, 0};
constexpr Check clock_time = {"The time", "must look like 23:59 or 23:59:59.", is_time, 0, 0};

struct Rule {
    const Record &record;
    const char *key;
    Check check;
};

constexpr Rule rules[] = {
    {stream_record, "ipAddress", address},
    {stream_record, "port", port},
    {stream_record, "programPid", pid},
    {stream_record, "videoPid", pid},
    {stream_record, "audio1Pid", pid},
    {stream_record, "audio2Pid", pid},
    {stream_record, "fecPort1", port},
    {stream_record, "fecPort2", port},
    {stream_record, "latency", milliseconds},
    {stream_record, "forwardingTargetAddress", address},
    {stream_record, "forwardingTargetPort", port},
    {stream_record, "forwardingUdpPacketSize", bounds("The packet size", 188, 9000)},
    {stream_record, "forwardingTtl", bounds("The time to live", 0, 255)},

    {decoder_audio_record, "volumeUnbalanced", volume},
    {decoder_audio_record, "volumeBalanced", volume},
    {decoder_configuration_record, "decoderBuffer", milliseconds},
    {decoder_configuration_record, "endToEndLatency", milliseconds},
    {decoder_vbianc_record, "afdValue", bounds("The AFD value", 0, 15)},
    {decoder_vbianc_record, "lineInsertionVitc", line},
    {decoder_vbianc_record, "lineInsertionCea708608", line},
    {decoder_vbianc_record, "lineInsertionAfd", line},
    {decoder_talkback_record, "serverPort", port},
    {decoder_talkback_record, "talkbackMicrophoneLevel", volume},
    {decoder_talkback_record, "talkbackMicrophoneGain", volume},
    {decoder_talkback_record, "talkbackSpeakerGain", volume},

    {network_interface_record, "ipAddress", ip4},
    {network_interface_record, "networkMask", mask},
    {network_interface_record, "defaultGateway", ip4},
    {network_interface_record, "ip6AutoAddress", ip6},
    {network_interface_record, "ip6AutoPrefix", prefix},
    {network_interface_record, "ip6ManualAddress", ip6},
    {network_interface_record, "ip6ManualPrefix", prefix},
    {sap_record, "ipAddress", address},
    {sap_record, "port", port},
    {security_record, "hostname", hostname},

    {sysdatetime_record, "ntpServerAddress", host},
    {sysdatetime_record, "ntpSyncPeriod", bounds("The period", 1, 604800)},
    {sysdatetime_record, "date", date},
    {sysdatetime_record, "time", clock_time},
    {sysdatetime_record, "daylightSavingStartDate", date},
    {sysdatetime_record, "daylightSavingStopDate", date},
    {sysdatetime_record, "daylightSavingStartHour", hour},
    {sysdatetime_record, "daylightSavingStopHour", hour},
};

constexpr bool keys_exist()
{
    for (const Rule &rule : rules) {
        const Record &record = rule.record;
        if (record_check::uses_of(rule.key, record.fields, record.count) != 1) return false;
    }
    return true;
}
static_assert(keys_exist());

/* The complaint about what breaks the rule, else an empty text. */
std::string broken(const Rule &rule, const RecordBytes &request)
{
    const Check &check = rule.check;
    if (check.is) {
        const std::string text = get_text(request, rule.key);
        const bool good = text.empty() || check.is(text);
        return good ? "" : format("%s %s", check.what, check.must);
    }
    const int32_t value = get_int(request, rule.key);
    const bool good = value == -1 || (value >= check.low && value <= check.high);
    return good ? "" : format("%s must be from %d to %d.", check.what, check.low, check.high);
}

} // namespace

std::string form_parameter(const std::string &key, int index)
{
    return index == no_request_index ? key : format("%s[%d]", key.c_str(), index);
}

Complaints check_record(const RecordBytes &request, int index)
{
    Complaints complaints;
    for (const Rule &rule : rules) {
        if (&rule.record != request.record) continue;
        const std::string message = broken(rule, request);
        if (!message.empty()) complaints.push_back({message, form_parameter(rule.key, index)});
    }
    return complaints;
}
