#include "simulator/commands.h"

#include <algorithm>
#include <iterator>

#include "handlers/admin/records.h"
#include "handlers/status/records.h"
#include "simulator/channel.h"
#include "simulator/format.h"
#include "simulator/items.h"
#include "simulator/lifecycle.h"
#include "simulator/settings.h"
#include "simulator/status.h"
#include "simulator/upgrade.h"
#include "sysmng/command.h"

namespace {

using namespace records;

using enum Takes;

constexpr Command commands[] = {
    {CMD_STREAM_GET, MaybeId, read_items, &stream_record},
    {CMD_STREAM_NEW, OneRecord, create_item, &stream_record},
    {CMD_STREAM_SET, OneRecord, change_item, &stream_record},
    {CMD_STREAM_DEL, Id, remove_item, &stream_record},
    {CMD_STREAM_SELECT, Id, select_stream, &stream_record},
    {CMD_DECODER_GET, Nothing, read_decoder, &decoder_summary_record},
    {CMD_DECODER_VIDEO_GET, Nothing, read_setting, &decoder_video_record},
    {CMD_DECODER_VIDEO_SET, OneRecord, write_setting, &decoder_video_record},
    {CMD_DECODER_AUDIO_GET, Nothing, read_setting, &decoder_audio_record},
    {CMD_DECODER_AUDIO_SET, OneRecord, write_setting, &decoder_audio_record},
    {CMD_DECODER_CONFIGURATION_GET, Nothing, read_setting, &decoder_configuration_record},
    {CMD_DECODER_CONFIGURATION_SET, OneRecord, write_setting, &decoder_configuration_record},
    {CMD_DECODER_VBIANC_GET, Nothing, read_setting, &decoder_vbianc_record},
    {CMD_DECODER_VBIANC_SET, OneRecord, write_setting, &decoder_vbianc_record},
    {CMD_DECODER_TALKBACK_GET, Nothing, read_setting, &decoder_talkback_record},
    {CMD_DECODER_TALKBACK_SET, OneRecord, write_setting, &decoder_talkback_record},
    {CMD_CHANNEL_GET, Nothing, read_channel, nullptr, &channel_record},
    {CMD_CHANNEL_START, Nothing, start_channel},
    {CMD_CHANNEL_STOP, Nothing, stop_channel},
    {CMD_CHANNEL_INFO_GET, Nothing, read_channel_info, nullptr, &channel_info_record},
    {CMD_NETWORK_GET, Nothing, read_interfaces, &network_interface_record},
    {CMD_NETWORK_SET, AnyRecords, change_interfaces, &network_interface_record},
    {CMD_SAP_GET, Nothing, read_setting, &sap_record},
    {CMD_SAP_SET, OneRecord, write_setting, &sap_record},
    {CMD_SAP_STREAM_GET, Nothing, read_sap_streams, &sap_stream_record},
    {CMD_SECURITY_GET, Nothing, read_setting, &security_record},
    {CMD_SECURITY_SET, OneRecord, write_setting, &security_record},
    {CMD_SECURITY_CERTIFICATE, OneRecord, install_certificate, &certificate_request_record,
     &operation_result_record},
    {CMD_SECURITY_CERTIFICATE_DEFAULT, Nothing, use_default_certificate},
    {CMD_NOTICE_GET, Nothing, read_notice, &notice_record},
    {CMD_SYSDATETIME_GET, Nothing, read_setting, &sysdatetime_record},
    {CMD_SYSDATETIME_SET, OneRecord, write_setting, &sysdatetime_record},
    {CMD_PORTS_GET, Nothing, read_ports, nullptr, &ports_record},
    {CMD_LEDS_GET, Nothing, read_leds, nullptr, &leds_record},
    {CMD_SERVICES_GET, Nothing, read_setting, &services_record},
    {CMD_SERVICES_SET, OneRecord, write_setting, &services_record},
    {CMD_CONFIGURATION_GET, MaybeId, read_items, &configuration_record},
    {CMD_CONFIGURATION_NEW, OneRecord, create_item, &configuration_record},
    {CMD_CONFIGURATION_SET, OneRecord, change_item, &configuration_record},
    {CMD_CONFIGURATION_DEL, Id, remove_item, &configuration_record},
    {CMD_CONFIGURATION_ACTIVATE, Id, activate_configuration, &configuration_record},
    {CMD_GENERAL_GET, Nothing, read_setting, &general_info_record},
    {CMD_GENERAL_RESTART, Nothing, restart},
    {CMD_GENERAL_FACTORY_RESET, Nothing, reset_to_factory},
    {CMD_GENERAL_FIRMWARE_UPGRADE, OneRecord, start_upgrade, &package_request_record,
     &operation_result_record},
    {CMD_GENERAL_UPGRADE_STATUS_GET, Nothing, read_upgrade, nullptr, &upgrade_status_record},
    {CMD_GENERAL_FREESPACE_GET, Nothing, read_freespace, nullptr, &freespace_record},
    {CMD_UPTIME_GET, Nothing, read_uptime, nullptr, &uptime_record},
    {CMD_TALKBACK_START, Nothing, start_talkback},
    {CMD_TALKBACK_STOP, Nothing, stop_talkback},
    {CMD_CHANGES_GET, Nothing, read_changes, nullptr, &changes_record},
    {CMD_ZIXI_STATS_GET, Nothing, read_zixi_stats, nullptr, &zixi_stats_record},
    {CMD_SRT_STATS_GET, Nothing, read_srt_stats, nullptr, &srt_stats_record},
};

bool is_report(const Command &command)
{
    return command.takes == Nothing && command.reply;
}

bool fits(const Request &request, const Command &command)
{
    const size_t size = request.payload.size();
    switch (command.takes) {
        case Nothing: return size == 0;
        case Id: return requested_id(request).has_value();
        case MaybeId: return size == 0 || requested_id(request).has_value();
        case OneRecord: return size == command.record->size;
        case AnyRecords: return size % command.record->size == 0;
    }
    return false;
}

} // namespace

const Command *find_command(uint32_t code)
{
    const auto found = std::find_if(std::begin(commands), std::end(commands),
                                    [&](const Command &command) { return command.code == code; });
    return found == std::end(commands) ? nullptr : found;
}

const Command *find_report(const std::string &name)
{
    const auto found =
        std::find_if(std::begin(commands), std::end(commands), [&](const Command &command) {
            return is_report(command) && short_name(*command.reply) == name;
        });
    return found == std::end(commands) ? nullptr : found;
}

std::string report_names()
{
    std::string names;
    for (const Command &command : commands) {
        if (!is_report(command)) continue;
        if (!names.empty()) names += ", ";
        names += short_name(*command.reply);
    }
    return names;
}

Reply answer(Device &device, Request request)
{
    if (request.is_damaged) return failure(RESULT_DAMAGED_REQUEST, "its checksum is wrong");
    const Command *command = find_command(request.code);
    if (!command) return failure(RESULT_UNKNOWN_COMMAND, "the daemon has no such command");
    if (!fits(request, *command)) {
        return failure(RESULT_DAMAGED_REQUEST, format("this command does not take these %zu bytes",
                                                      request.payload.size()));
    }
    request.record = command->record;
    settle(device);
    Reply reply = command->answer(device, request);
    settle(device);
    return reply;
}

const Record *request_record(uint32_t code)
{
    const Command *command = find_command(code);
    const bool has_one = command && (command->takes == OneRecord || command->takes == AnyRecords);
    return has_one ? command->record : nullptr;
}

const Record *reply_record(uint32_t code, uint32_t result)
{
    const Command *command = find_command(code);
    if (command && takes_file(code)) return command->reply;
    if (result != RESULT_SUCCESS) return &complaint_record;
    if (!command) return nullptr;
    return command->reply ? command->reply : command->record;
}

bool takes_file(uint32_t code)
{
    const Command *command = find_command(code);
    return command && command->reply == &operation_result_record;
}
