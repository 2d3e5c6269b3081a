#include "simulator/channel.h"

#include "handlers/status/records.h"
#include "handlers/stream_decoder/records.h"
#include "simulator/format.h"
#include "simulator/items.h"
#include "simulator/moving.h"

namespace {

using namespace records;

constexpr const char *decoded =
    "video.width=1920; video.height=1080; video.framerate=50; video.chromaSampling=1; "
    "audio.codec=1; audio.samplingFrequency=48000; audio.channels=2; cc=CEA-608, CEA-708";
constexpr Swing info_swings[] = {
    {"video.inputBitrate", 11.1, 12.3, 11},
    {"audio.inputBitrate", 125, 131, 7},
    {"systemBitrate", 11.8, 13.0, 11},
};

/* Bitrates in kbit/s, times in ms. */
constexpr Swing zixi_swings[] = {
    {"totalBitrate", 11800, 13000, 11}, {"availableBitrate", 18800, 20400, 23},
    {"roundTimeTrip", 34, 49, 17},      {"jitter", 1, 6, 5},
    {"latency", 118, 123, 13},          {"packetRate", 1165, 1195, 6},
    {"packetLoss", 0, 3, 41},
};
constexpr Growth zixi_growths[] = {
    {"reconnections", 1.0 / 1800},      {"totalPackets", 1180},
    {"droppedPackets", 1.0 / 40},       {"recoveredPackets", 0.2},
    {"nonRecoveredPackets", 1.0 / 240},
};
constexpr Swing srt_swings[] = {
    {"totalBitrate", 11800, 13000, 11}, {"roundTimeTrip", 28, 40, 19}, {"packetLoss", 0, 3, 41}};
constexpr Growth srt_growths[] = {
    {"totalPackets", 1180}, {"droppedPackets", 1.0 / 40}, {"recoveredPackets", 0.2}};

double running_seconds(const Device &device)
{
    const Channel &channel = device.channel;
    return channel.running ? seconds_since(device, channel.started) : channel.ran;
}

void run(Channel &channel)
{
    channel.running = true;
    channel.started = Clock::now();
}

void halt(Device &device)
{
    device.channel.ran = running_seconds(device);
    device.channel.running = false;
}

void set_info_texts(RecordBytes &info, double seconds, int32_t encryption)
{
    const unsigned whole = static_cast<unsigned>(seconds);
    const unsigned frame = static_cast<unsigned>(seconds * 50) % 50;
    set_text(info, "endToEndLatency", format("%u ms", 178 + whole % 13));
    set_text(info, "errorCorrection", format("%u corrected, %u lost", whole / 9, whole / 240));
    set_text(info, "vitc",
             format("%02u:%02u:%02u:%02u", whole / 3600 % 24, whole / 60 % 60, whole % 60, frame));
    set_text(info, "encryption", encryption > 0 ? "AES" : "None");
}

/* Counts stay when the channel stops; all else is 0 then. */
RecordBytes stats(const Device &device, const Record &record, std::span<const Swing> swings,
                  std::span<const Growth> growths)
{
    const double seconds = running_seconds(device);
    RecordBytes report = new_record(record);
    set_growths(report, growths, seconds);
    if (device.channel.running) set_swings(report, swings, seconds);
    return report;
}

} // namespace

Reply select_stream(Device &device, const Request &request)
{
    const int32_t id = *requested_id(request);
    if (!find_item(device.streams, id)) return no_such_item(id);
    if (device.channel.running && device.channel.selected != id) run(device.channel);
    device.channel.selected = id;
    return success();
}

Reply start_channel(Device &device, const Request &)
{
    if (device.channel.selected == -1) return failure(RESULT_REFUSED, "no stream is selected");
    if (!device.channel.running) run(device.channel);
    return success();
}

Reply stop_channel(Device &device, const Request &)
{
    if (device.channel.running) halt(device);
    return success();
}

Reply start_talkback(Device &device, const Request &)
{
    device.channel.talkback = true;
    return success();
}

Reply stop_talkback(Device &device, const Request &)
{
    device.channel.talkback = false;
    return success();
}

Reply read_channel(Device &device, const Request &)
{
    RecordBytes report = new_record(channel_record);
    set_number(report, "id", device.channel.selected);
    if (const RecordBytes *stream = find_item(device.streams, device.channel.selected)) {
        copy_shared_fields(report, *stream);
        set_number(report, "isFec", get_int(*stream, "fecPort1") > 0);
    }
    copy_shared_fields(report, setting(device, decoder_video_record));    /* outputResolution */
    copy_shared_fields(report, setting(device, decoder_talkback_record)); /* talkbackOption */
    set_number(report, "isTalkback", device.channel.talkback);
    if (device.channel.running) {
        set_texts(report, "audioCodec=1; resolution=1920x1080p50; isKlv=true");
    }
    return success(as_shown(device, report).bytes);
}

Reply read_channel_info(Device &device, const Request &)
{
    const RecordBytes *stream = find_item(device.streams, device.channel.selected);
    RecordBytes report = new_record(channel_info_record);
    if (device.channel.running && stream) {
        const double seconds = running_seconds(device);
        set_texts(report, decoded);
        set_swings(report, info_swings, seconds);
        set_info_texts(report, seconds, get_int(*stream, "aesEncryption"));
    }
    return success(as_shown(device, report).bytes);
}

Reply read_zixi_stats(Device &device, const Request &)
{
    const RecordBytes report = stats(device, zixi_stats_record, zixi_swings, zixi_growths);
    return success(as_shown(device, report).bytes);
}

Reply read_srt_stats(Device &device, const Request &)
{
    RecordBytes report = stats(device, srt_stats_record, srt_swings, srt_growths);
    set_number(report, "mtu", 1500);
    return success(as_shown(device, report).bytes);
}

void select_first_stream(Device &device)
{
    if (device.streams.items.empty()) return;
    device.channel.selected = get_int(device.streams.items.front(), "id");
    run(device.channel);
}

void mark_running_stream(Device &device)
{
    Channel &channel = device.channel;
    if (!find_item(device.streams, channel.selected)) {
        if (channel.running) halt(device);
        channel.selected = -1;
    }
    for (RecordBytes &stream : device.streams.items) {
        const bool received = channel.running && get_int(stream, "id") == channel.selected;
        set_number(stream, "status", received);
    }
}
