/* The records of status and statistics. */
#pragma once

#include "module/record.h"

namespace records {
using namespace field;

inline constexpr Field uptime_fields[] = {
    text("dateTime", 255),
    text("uptime", 255),
    int32("temperatureC"),
    int32("fansRPM"),
};
inline constexpr Record uptime_record = record("uptime_record", 518, uptime_fields);

inline constexpr Field changes_fields[] = {
    int32("channelList"),        int32("configList"),        int32("channelInfo"),
    int32("portsInfo"),          int32("decoderParameters"), int32("networkParameters"),
    int32("datetimeParameters"), int32("software"),
};
inline constexpr Record changes_record = record("changes_record", 32, changes_fields);

inline constexpr Field zixi_stats_fields[] = {
    int32("totalBitrate"),
    int32("availableBitrate"),
    uint64("reconnections"),
    int32("roundTimeTrip"),
    int32("jitter"),
    int32("latency"),
    uint64("totalPackets"),
    int32("packetRate"),
    int32("packetLoss"),
    uint64("droppedPackets"),
    uint64("recoveredPackets"),
    uint64("nonRecoveredPackets"),
};
inline constexpr Record zixi_stats_record = record("zixi_stats_record", 68, zixi_stats_fields);

inline constexpr Field srt_stats_fields[] = {
    int32("totalBitrate"),      int32("roundTimeTrip"), int32("mtu"),
    uint64("totalPackets"),     int32("packetLoss"),    uint64("droppedPackets"),
    uint64("recoveredPackets"),
};
inline constexpr Record srt_stats_record = record("srt_stats_record", 40, srt_stats_fields);

} // namespace records
