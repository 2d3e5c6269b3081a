/* The records of status and statistics. */
#pragma once

#include "reply/record.h"

namespace records {
using namespace field;

/* One field a line: */
/* clang-format off */

RECORD(uptime_record, 518,
    at(0, text("dateTime", 255)),
    at(255, text("uptime", 255)),
    at(510, int32("temperatureC")),
    at(514, int32("fansRPM")))

RECORD(changes_record, 32,
    at(0, int32("channelList")),
    at(4, int32("configList")),
    at(8, int32("channelInfo")),
    at(12, int32("portsInfo")),
    at(16, int32("decoderParameters")),
    at(20, int32("networkParameters")),
    at(24, int32("datetimeParameters")),
    at(28, int32("software")))

RECORD(zixi_stats_record, 68,
    at(0, int32("totalBitrate")),
    at(4, int32("availableBitrate")),
    at(8, uint64("reconnections")),
    at(16, int32("roundTimeTrip")),
    at(20, int32("jitter")),
    at(24, int32("latency")),
    at(28, uint64("totalPackets")),
    at(36, int32("packetRate")),
    at(40, int32("packetLoss")),
    at(44, uint64("droppedPackets")),
    at(52, uint64("recoveredPackets")),
    at(60, uint64("nonRecoveredPackets")))

RECORD(srt_stats_record, 40,
    at(0, int32("totalBitrate")),
    at(4, int32("roundTimeTrip")),
    at(8, int32("mtu")),
    at(12, uint64("totalPackets")),
    at(20, int32("packetLoss")),
    at(24, uint64("droppedPackets")),
    at(32, uint64("recoveredPackets")))

/* clang-format on */

} // namespace records
