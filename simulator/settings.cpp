#include "simulator/settings.h"

#include <algorithm>
#include <ctime>
#include <iterator>

#include "handlers/admin/records.h"
#include "simulator/rules.h"

using namespace records;

namespace {

/* A side effect of a new setting. It may add complaints, and does nothing when
 * there are some. */
using Effect = void(Device &device, RecordBytes &given, Complaints &complaints);

/* The passwords are taken out of the record, and are never read back. */
void change_password(Device &device, RecordBytes &given, Complaints &complaints)
{
    const std::string wanted = get_text(given, "newPassword");
    if (!wanted.empty() && get_text(given, "currentPassword") != device.password) {
        complaints.push_back({"The current password is not right.", "currentPassword"});
    }
    if (!complaints.empty()) return;
    if (!wanted.empty()) device.password = wanted;
    set_text(given, "currentPassword", "");
    set_text(given, "newPassword", "");
}

/* The clock runs on from the date and time that are given. Without them, NTP
 * puts it right. */
void set_clock(Device &device, RecordBytes &given, Complaints &complaints)
{
    using std::chrono::system_clock;
    if (!complaints.empty()) return;
    const std::string date = get_text(given, "date"), time = get_text(given, "time");
    if (date.empty() && time.empty()) {
        if (get_int(given, "useNtp")) device.clock_offset = {};
        return;
    }
    const std::string now = clock_text(device);
    const std::string wanted =
        (date.empty() ? now.substr(0, 10) : date) + " " + (time.empty() ? now.substr(11) : time);
    std::tm at = {};
    sscanf(wanted.c_str(), "%d-%d-%d %d:%d:%d", &at.tm_year, &at.tm_mon, &at.tm_mday, &at.tm_hour,
           &at.tm_min, &at.tm_sec);
    at.tm_year -= 1900;
    at.tm_mon -= 1;
    device.clock_offset = system_clock::from_time_t(timegm(&at)) - system_clock::now();
}

struct Setting {
    const Record *record;
    const char *counter; /* of changes; null: none */
    const char *factory; /* what is not named is 0, off or empty */
    Effect *effect = nullptr;
};

constexpr Setting settings[] = {
    {&decoder_video_record, "decoderParameters",
     "outputResolution=4; isPrimarySdi1=true; isHdmi=true; hdmiMode=1; outputResolution2=2; "
     "isSecondarySdi2=true; aspectRatio=1; aspectRatio2=1"},
    {&decoder_audio_record, "decoderParameters",
     "sdiHdmiOutput=1000 0100 0010 0001; digitalOutput=1; aesOutput1=1000; aesOutput2=0100; "
     "analogOutput=1100; volumeUnbalanced=80; volumeBalanced=80"},
    {&decoder_configuration_record, "decoderParameters",
     "clockSource=1; decoderBuffer=200; endToEndLatency=400; isEnhancedErrorConcealment=true; "
     "isStreamLossBanner=true; decoderStopImage=1"},
    {&decoder_vbianc_record, "decoderParameters",
     "closedCaptioning=1; timecode=1; afd=1; afdValue=8; lineInsertionAuto=true; "
     "lineInsertionVitc=14; lineInsertionCea708608=11; lineInsertionAfd=12"},
    {&decoder_talkback_record, "decoderParameters",
     "talkbackOption=1; serverPort=9004; talkbackMicrophoneLevel=60; talkbackMicrophoneGain=12; "
     "talkbackSpeakerGain=6"},
    {&sap_record, nullptr, "useDefaultAddressPort=true; ipAddress=224.2.127.254; port=9875"},
    {&security_record, nullptr,
     "hostname=decoder-01; bannerText=Authorised users only.; certificateName=default",
     change_password},
    {&sysdatetime_record, "datetimeParameters",
     "useNtp=true; ntpServerAddress=pool.ntp.org; ntpSyncPeriod=60; timeZone=UTC; "
     "daylightSavingStartDate=2025-03-30; daylightSavingStopDate=2025-10-26; "
     "daylightSavingStartHour=2; daylightSavingStopHour=3",
     set_clock},
    {&services_record, nullptr, "discovery=true"},
    {&general_info_record, nullptr,
     "systemSerialNumber=DEC-2041-0007; boardSerialNumber=BRD-7719-0153; "
     "hardware=Video decoder, revision C"},
};

} // namespace

void reset_settings(Device &device)
{
    for (const Setting &row : settings) {
        device.settings[row.record] = new_record(*row.record, row.factory);
    }
    set_text(setting(device, general_info_record), "software", device.options.software);
}

Reply read_setting(Device &device, const Request &request)
{
    return success(setting(device, *request.record).bytes);
}

Reply write_setting(Device &device, const Request &request)
{
    const Setting &row =
        *std::find_if(std::begin(settings), std::end(settings),
                      [&](const Setting &s) { return s.record == request.record; });
    RecordBytes given = record_at(*row.record, request.payload);
    Complaints complaints = check_record(given);
    if (row.effect) row.effect(device, given, complaints);
    if (!complaints.empty()) return refusal(complaints);
    merge(setting(device, *row.record), given);
    if (row.counter) count_change(device, row.counter);
    return success();
}

Reply read_decoder(Device &device, const Request &)
{
    Bytes report;
    for (uint32_t i = 0; i < decoder_summary_record.count; ++i) {
        append(report, setting(device, *decoder_summary_record.fields[i].record).bytes);
    }
    return success(report);
}

Reply read_notice(Device &device, const Request &)
{
    RecordBytes report = new_record(notice_record);
    copy_shared_fields(report, setting(device, security_record));
    return success(report.bytes);
}
