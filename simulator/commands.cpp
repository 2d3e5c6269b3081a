#include "simulator/commands.h"

#include "handlers/admin/records.h"
#include "simulator/answers.h"
#include "simulator/defaults.h"
#include "simulator/format.h"
#include "sysmng/bytes.h"
#include "sysmng/command.h"

namespace {

using namespace records;

constexpr const char *decoder = "decoderParameters";

constexpr SettingsRow settings_rows[] = {
    {CMD_DECODER_VIDEO_GET, CMD_DECODER_VIDEO_SET, &decoder_video_record, defaults::video, decoder},
    {CMD_DECODER_AUDIO_GET, CMD_DECODER_AUDIO_SET, &decoder_audio_record, defaults::audio, decoder},
    {CMD_DECODER_CONFIGURATION_GET, CMD_DECODER_CONFIGURATION_SET, &decoder_configuration_record,
     defaults::decoding, decoder},
    {CMD_DECODER_VBIANC_GET, CMD_DECODER_VBIANC_SET, &decoder_vbianc_record, defaults::vbianc,
     decoder},
    {CMD_DECODER_TALKBACK_GET, CMD_DECODER_TALKBACK_SET, &decoder_talkback_record,
     defaults::talkback, decoder},
    {CMD_SAP_GET, CMD_SAP_SET, &sap_record, defaults::sap},
    {CMD_SECURITY_GET, CMD_SECURITY_SET, &security_record, defaults::security, nullptr,
     change_password},
    {CMD_SYSDATETIME_GET, CMD_SYSDATETIME_SET, &sysdatetime_record, defaults::sysdatetime,
     "datetimeParameters", set_clock},
    {CMD_SERVICES_GET, CMD_SERVICES_SET, &services_record, defaults::services},
    {CMD_GENERAL_GET, no_command, &general_info_record, defaults::general},
};

constexpr ItemsRow items_rows[] = {
    {CMD_STREAM_GET, CMD_STREAM_NEW, CMD_STREAM_SET, CMD_STREAM_DEL, &stream_record,
     &Device::streams, defaults::stream, "channelList"},
    {CMD_CONFIGURATION_GET, CMD_CONFIGURATION_NEW, CMD_CONFIGURATION_SET, CMD_CONFIGURATION_DEL,
     &configuration_record, &Device::configurations, "", "configList"},
};

/* Commands that take nothing and change nothing. */
struct ReportRow {
    uint32_t code;
    Bytes (*report)(const Device &device);
};

constexpr ReportRow report_rows[] = {
    {CMD_DECODER_GET, decoder_summary_report},
    {CMD_CHANNEL_GET, channel_report},
    {CMD_CHANNEL_INFO_GET, channel_info_report},
    {CMD_NETWORK_GET, interfaces_report},
    {CMD_SAP_STREAM_GET, sap_streams_report},
    {CMD_NOTICE_GET, notice_report},
    {CMD_PORTS_GET, ports_report},
    {CMD_LEDS_GET, leds_report},
    {CMD_GENERAL_UPGRADE_STATUS_GET, upgrade_report},
    {CMD_GENERAL_FREESPACE_GET, freespace_report},
    {CMD_UPTIME_GET, uptime_report},
    {CMD_CHANGES_GET, changes_report},
    {CMD_ZIXI_STATS_GET, zixi_stats_report},
    {CMD_SRT_STATS_GET, srt_stats_report},
};

enum class Takes { Nothing, Id, Record, Records };

struct ActionRow {
    uint32_t code;
    Takes takes;
    const Record *record; /* of Takes::Record and Takes::Records */
    Reply (*carry_out)(Device &device, const Request &request);
};

constexpr ActionRow action_rows[] = {
    {CMD_STREAM_SELECT, Takes::Id, nullptr, select_stream},
    {CMD_CHANNEL_START, Takes::Nothing, nullptr, start_channel},
    {CMD_CHANNEL_STOP, Takes::Nothing, nullptr, stop_channel},
    {CMD_NETWORK_SET, Takes::Records, &network_interface_record, change_interfaces},
    {CMD_SECURITY_CERTIFICATE, Takes::Record, &certificate_request_record, install_certificate},
    {CMD_SECURITY_CERTIFICATE_DEFAULT, Takes::Nothing, nullptr, use_default_certificate},
    {CMD_CONFIGURATION_ACTIVATE, Takes::Id, nullptr, activate_configuration},
    {CMD_GENERAL_RESTART, Takes::Nothing, nullptr, restart},
    {CMD_GENERAL_FACTORY_RESET, Takes::Nothing, nullptr, reset_to_factory},
    {CMD_GENERAL_FIRMWARE_UPGRADE, Takes::Record, &package_request_record, start_upgrade},
    {CMD_TALKBACK_START, Takes::Nothing, nullptr, start_talkback},
    {CMD_TALKBACK_STOP, Takes::Nothing, nullptr, stop_talkback},
};

bool fits(const Bytes &payload, Takes takes, const Record *record)
{
    switch (takes) {
        case Takes::Nothing: return payload.empty();
        case Takes::Id:
            return payload.size() == id_request_size &&
                   load_u32(payload.data()) == load_u32(payload.data() + 4);
        case Takes::Record: return payload.size() == record->size;
        case Takes::Records: return payload.size() % record->size == 0;
    }
    return false;
}

Reply wrong_payload(const Request &request)
{
    return failure(RESULT_DAMAGED_REQUEST,
                   format("this command does not take these %zu bytes", request.payload.size()));
}

Reply answer_setting(Device &device, const SettingsRow &row, const Request &request)
{
    const bool writes = request.code == row.set;
    if (!fits(request.payload, writes ? Takes::Record : Takes::Nothing, row.record)) {
        return wrong_payload(request);
    }
    return writes ? write_setting(device, row, request) : read_setting(device, row);
}

Reply answer_items(Device &device, const ItemsRow &row, const Request &request)
{
    const bool is_id = fits(request.payload, Takes::Id, nullptr);
    const bool is_record = fits(request.payload, Takes::Record, row.record);
    if (request.code == row.get && (is_id || request.payload.empty())) {
        return read_items(device, row, request);
    }
    if (request.code == row.create && is_record) return create_item(device, row, request);
    if (request.code == row.change && is_record) return change_item(device, row, request);
    if (request.code == row.remove && is_id) return remove_item(device, row, request);
    return wrong_payload(request);
}

Reply carry_out(Device &device, const Request &request)
{
    const uint32_t code = request.code;
    for (const SettingsRow &row : settings_rows) {
        if (code == row.get || code == row.set) return answer_setting(device, row, request);
    }
    for (const ItemsRow &row : items_rows) {
        const bool is_for =
            code == row.get || code == row.create || code == row.change || code == row.remove;
        if (is_for) return answer_items(device, row, request);
    }
    for (const ReportRow &row : report_rows) {
        if (code != row.code) continue;
        return request.payload.empty() ? success(row.report(device)) : wrong_payload(request);
    }
    for (const ActionRow &row : action_rows) {
        if (code != row.code) continue;
        const bool good = fits(request.payload, row.takes, row.record);
        return good ? row.carry_out(device, request) : wrong_payload(request);
    }
    return failure(RESULT_UNKNOWN_COMMAND, "the daemon has no such command");
}

} // namespace

Reply answer(Device &device, const Request &request)
{
    if (request.code == no_command) return failure(RESULT_UNKNOWN_COMMAND, "this is no command");
    settle(device);
    Reply reply = carry_out(device, request);
    settle(device);
    return reply;
}

std::span<const SettingsRow> settings_table()
{
    return settings_rows;
}

const Record *request_record(uint32_t code)
{
    for (const SettingsRow &row : settings_rows) {
        if (code == row.set) return row.record;
    }
    for (const ItemsRow &row : items_rows) {
        if (code == row.create || code == row.change) return row.record;
    }
    for (const ActionRow &row : action_rows) {
        if (code == row.code) return row.record;
    }
    return nullptr;
}
