#include "tools/notes.h"

#include <algorithm>
#include <iterator>

#include "handlers/admin/records.h"
#include "handlers/status/records.h"
#include "simulator/record_values.h"
#include "simulator/rules.h"

namespace {

using namespace records;

constexpr OperationNote operation_notes[] = {
    {"getStream", "List the streams", ""},
    {"postStream", "Create a stream",
     "The simulated device wants a name, gives the id, and has its own values for what is left "
     "out."},
    {"getStreamId", "Read a stream", ""},
    {"putStreamId", "Change a stream", ""},
    {"deleteStreamId", "Delete a stream", ""},
    {"putStreamSelectId", "Make a stream the current one", ""},
    {"getDecoder", "Read all settings of the decoder",
     "The records of the five paths below this one, in one answer."},
    {"putDecoder", "No effect", "The settings are changed at the five paths below this one."},
    {"getDecoderVideo", "Read the video outputs", ""},
    {"putDecoderVideo", "Change the video outputs", ""},
    {"getDecoderAudio", "Read the audio outputs", ""},
    {"putDecoderAudio", "Change the audio outputs", ""},
    {"getDecoderConfiguration", "Read the decoder's configuration", ""},
    {"putDecoderConfiguration", "Change the decoder's configuration", ""},
    {"getDecoderVbianc", "Read the settings of VBI and ancillary data", ""},
    {"putDecoderVbianc", "Change the settings of VBI and ancillary data", ""},
    {"getDecoderTalkback", "Read the talkback settings", ""},
    {"putDecoderTalkback", "Change the talkback settings", ""},
    {"getChannel", "Read the channel",
     "The current stream, with what is being decoded of it. On the simulated device the id is -1 "
     "while no stream is selected."},
    {"putChannelStart", "Start the channel", ""},
    {"putChannelStop", "Stop the channel", ""},
    {"getChannelInfo", "Read live properties of the received stream", ""},
    {"getNetwork", "List the network interfaces", ""},
    {"putNetwork", "Change network interfaces",
     "The simulated device leaves an interface alone that is not in the form."},
    {"getSap", "Read the SAP settings", ""},
    {"putSap", "Change the SAP settings", ""},
    {"getSapStream", "List the streams that SAP announces", ""},
    {"getSecurity", "Read the security settings",
     "The simulated device never answers with a password."},
    {"putSecurity", "Change the security settings", ""},
    {"postSecurityCertificate", "Install a certificate", ""},
    {"putSecurityCertificateDefault", "Go back to the default certificate", ""},
    {"getNotice", "Read the notice for users", "It is set with the security settings."},
    {"getSysdatetime", "Read date, time and their settings", ""},
    {"putSysdatetime", "Change date, time and their settings",
     "A date and a time set the clock. Those that were read are the past by now: on the simulated "
     "device two empty texts leave the clock alone."},
    {"getPorts", "Read the states of the ports", ""},
    {"getLeds", "Read the states of the LEDs", ""},
    {"getServices", "Read which services run", ""},
    {"putServices", "Change which services run", ""},
    {"getConfiguration", "List the saved configurations", ""},
    {"postConfiguration", "Save a configuration",
     "The simulated device wants a name, and gives the id and the time."},
    {"getConfigurationId", "Read a saved configuration", ""},
    {"putConfigurationId", "Change a saved configuration", ""},
    {"deleteConfigurationId", "Delete a saved configuration", ""},
    {"putConfigurationActivateId", "Activate a saved configuration", ""},
    {"getGeneral", "Read what the device is", ""},
    {"putGeneralRestart", "Restart the device", ""},
    {"putGeneralFactoryReset", "Go back to factory settings", ""},
    {"postGeneralFirmwareUpgrade", "Install a firmware package",
     "The answer comes when the daemon has taken the package; how the upgrade goes on is read at "
     "/api/general/upgradeStatus."},
    {"getGeneralUpgradeStatus", "Read how far an upgrade is", ""},
    {"getGeneralFreespace", "Read the free space", ""},
    {"getUptime", "Read clock, uptime, temperature and fans", ""},
    {"putTalkbackStart", "Start talkback", ""},
    {"putTalkbackStop", "Stop talkback", ""},
    {"getChanges", "Read the counters of changes",
     "What a counter says is that its group has changed since it had another value. To ask for "
     "these first, and then for what moved, spares the device most requests."},
    {"getZixiStats", "Read the statistics of the Zixi transport", ""},
    {"getSrtStats", "Read the statistics of the SRT transport", ""},
};

/* Without a record: of each field with this key. */
struct FieldNote {
    const Record *record;
    const char *key;
    const char *text;
};

constexpr const char *on_or_off = "On the simulated device: 0 off, 1 in use.";
constexpr const char *two_types = "On the simulated device: 0 fixed, 1 automatic.";

constexpr FieldNote field_notes[] = {
    {nullptr, "protocol", "On the simulated device: 0 UDP, 1 RTP, 2 Zixi, 3 SRT, 4 RTMP, 5 ASI."},
    {nullptr, "channelInput", "On the simulated device: 0 and 1 the Ethernet ports, 2 ASI."},
    {&stream_record, "status",
     "What the device reports. The simulated one: 0 idle, 1 being received; it takes no status "
     "from a form."},
    {nullptr, "clockSource", "On the simulated device: 0 internal, 1 genlock."},
    {&network_interface_record, "type", "On the simulated device: 0 management, 1 streams."},
    {nullptr, "ip4Type", two_types},
    {nullptr, "ip6Type", two_types},
    {&security_record, "currentPassword", "Asked for by the simulated device with a newPassword."},
    {&security_record, "newPassword", "Empty: the password of the simulated device stays."},
    {nullptr, "bannerText",
     "Answers end at 5119 bytes, in the middle if need be: what is longer than that with the "
     "other fields cannot be read back."},
    {&general_info_record, "software", "Its version, which is also in the pages' addresses."},
    {&operation_result_record, "status", "Of the simulated device: OK or ERROR."},
    {&operation_result_record, "message", "For people."},
    {&upgrade_status_record, "status",
     "On the simulated device: 0 no upgrade, 1 going on, 2 finished, 3 failed."},
    {&upgrade_status_record, "stage", "For people."},
    {&upgrade_status_record, "percent", "How much of the upgrade is done."},
    {&freespace_record, "tmp", "Of /tmp; in MiB on the simulated device."},
    {&uptime_record, "temperatureC", "In degrees Celsius."},
    {&uptime_record, "fansRPM", "In revolutions per minute."},
    {&channel_video_record, "inputBitrate", "In Mbit/s on the simulated device."},
    {&channel_audio_record, "inputBitrate", "In kbit/s on the simulated device."},
    {&channel_audio_record, "samplingFrequency", "In Hz on the simulated device."},
    {&channel_info_record, "systemBitrate", "In Mbit/s on the simulated device."},
    {nullptr, "totalBitrate", "In kbit/s on the simulated device."},
    {nullptr, "availableBitrate", "In kbit/s on the simulated device."},
    {nullptr, "roundTimeTrip", "In milliseconds on the simulated device."},
    {nullptr, "jitter", "In milliseconds on the simulated device."},
    {&zixi_stats_record, "latency", "In milliseconds on the simulated device."},
    {&srt_stats_record, "mtu", "In bytes on the simulated device."},
};

bool is_about(const FieldNote &note, const Record &record, const std::string &key)
{
    return note.key == key && (!note.record || note.record == &record);
}

std::string meaning(const Record &record, const std::string &key)
{
    if (&record == &ports_record || &record == &leds_record) return on_or_off;
    const auto found =
        std::find_if(std::begin(field_notes), std::end(field_notes),
                     [&](const FieldNote &note) { return is_about(note, record, key); });
    return found == std::end(field_notes) ? "" : found->text;
}

} // namespace

const OperationNote *note_on(const std::string &operation)
{
    const auto found =
        std::find_if(std::begin(operation_notes), std::end(operation_notes),
                     [&](const OperationNote &note) { return note.operation == operation; });
    return found == std::end(operation_notes) ? nullptr : found;
}

std::string note_on(const Record &record, const std::string &key)
{
    std::string note = meaning(record, key);
    const std::string rule = rule_for(record, key); /* "The port must be ..." */
    if (rule.empty()) return note;
    if (!note.empty()) note += " ";
    return note + "On the simulated device t" + rule.substr(1);
}

std::string stale_note(const std::set<std::string> &operations)
{
    for (const OperationNote &note : operation_notes) {
        if (!operations.count(note.operation)) return note.operation;
    }
    for (const FieldNote &note : field_notes) {
        if (note.record && !has_field(*note.record, note.key)) return note.key;
    }
    return "";
}
