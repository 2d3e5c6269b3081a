/* The records of device administration. */
#pragma once

#include "handlers/stream_decoder/records.h"
#include "reply/record.h"

namespace records {
using namespace field;

/* One field a line: */
/* clang-format off */

RECORD(network_interface_record, 481,
    at(0, id("id")),
    at(4, int32("type")),
    at(8, int32("ip4Type")),
    at(12, text("ipAddress", 46)),
    at(58, text("networkMask", 16)),
    at(74, text("defaultGateway", 46)),
    at(120, int32("ip6Type")),
    at(124, text("ip6AutoAddress", 46)),
    at(170, int32("ip6AutoPrefix")),
    at(174, text("ip6ManualAddress", 46)),
    at(220, int32("ip6ManualPrefix")),
    at(224, flag("isManagementAccess")),
    at(225, flag("isPrimaryDefaultGateway")),
    at(226, text("hardwareAddress", 255)))

RECORD(sap_record, 55,
    at(0, flag("useDefaultAddressPort")),
    at(1, int32("interface")),
    at(5, text("ipAddress", 46)),
    at(51, int32("port")))

/* A stream in short. */
RECORD_OF_FIRST_FIELDS(sap_stream_record, 80, stream_record, 11)

RECORD(security_record, 9214,
    at(0, text("currentPassword", 255)),
    at(255, text("newPassword", 255)),
    at(510, text("hostname", 255)),
    at(765, flag("isBannerEnabled")),
    at(766, text("bannerText", 8193)),
    at(8959, text("certificateName", 255)))

RECORD(certificate_request_record, 4096,
    at(0, text("certificateName", 4096)))

RECORD(notice_record, 8194,
    at(0, flag("isBannerEnabled")),
    at(1, text("bannerText", 8193)))

RECORD(sysdatetime_record, 1335,
    at(0, flag("useNtp")),
    at(1, text("ntpServerAddress", 46)),
    at(47, int32("ntpSyncPeriod")),
    at(51, text("date", 255)),
    at(306, text("time", 255)),
    at(561, text("timeZone", 255)),
    at(816, flag("isDaylightSavingEnabled")),
    at(817, text("daylightSavingStartDate", 255)),
    at(1072, text("daylightSavingStopDate", 255)),
    at(1327, int32("daylightSavingStartHour")),
    at(1331, int32("daylightSavingStopHour")))

RECORD(ports_record, 40,
    at(0, int32("ethernet1")),
    at(4, int32("ethernet2")),
    at(8, int32("dvbAsiIn")),
    at(12, int32("dvbAsiOut")),
    at(16, int32("serialAudioGenLock")),
    at(20, int32("cvbs")),
    at(24, int32("hdmi")),
    at(28, int32("sdi1")),
    at(32, int32("sdi2")),
    at(36, int32("power")))

RECORD(leds_record, 12,
    at(0, int32("ntp")),
    at(4, int32("genlock")),
    at(8, int32("talkback")))

RECORD(services_record, 1,
    at(0, flag("discovery")))

RECORD(configuration_record, 770,
    at(0, id("id")),
    at(4, text("name", 255)),
    at(259, text("description", 255)),
    at(514, text("created", 255)),
    at(769, flag("isAutoStart")))

RECORD(general_info_record, 1020,
    at(0, text("systemSerialNumber", 255)),
    at(255, text("boardSerialNumber", 255)),
    at(510, text("hardware", 255)),
    at(765, text("software", 255)))

RECORD(package_request_record, 4096,
    at(0, text("packageName", 4096)))

RECORD(operation_result_record, 266,
    at(0, text("status", 11)),
    at(11, text("message", 255)))

RECORD(upgrade_status_record, 263,
    at(0, int32("status")),
    at(4, text("stage", 255)),
    at(259, int32("percent")))

RECORD(freespace_record, 4,
    at(0, int32("tmp")))

/* clang-format on */

} // namespace records
