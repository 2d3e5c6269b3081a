/* The records of device administration. */
#pragma once

#include "handlers/stream_decoder/records.h"
#include "module/general_info.h"
#include "module/record.h"

namespace records {
using namespace field;

inline constexpr Field network_interface_fields[] = {
    id("id"),
    int32("type"),
    int32("ip4Type"),
    text("ipAddress", 46),
    text("networkMask", 16),
    text("defaultGateway", 46),
    int32("ip6Type"),
    text("ip6AutoAddress", 46),
    int32("ip6AutoPrefix"),
    text("ip6ManualAddress", 46),
    int32("ip6ManualPrefix"),
    flag("isManagementAccess"),
    flag("isPrimaryDefaultGateway"),
    text("hardwareAddress", 255),
};
inline constexpr Record network_interface_record =
    record("network_interface_record", 481, network_interface_fields);

inline constexpr Field sap_fields[] = {
    flag("useDefaultAddressPort"),
    int32("interface"),
    text("ipAddress", 46),
    int32("port"),
};
inline constexpr Record sap_record = record("sap_record", 55, sap_fields);

/* A stream in short. */
inline constexpr Record sap_stream_record =
    first_fields("sap_stream_record", 80, stream_record, 11);

inline constexpr Field security_fields[] = {
    text("currentPassword", 255), text("newPassword", 255), text("hostname", 255),
    flag("isBannerEnabled"),      text("bannerText", 8193), text("certificateName", 255),
};
inline constexpr Record security_record = record("security_record", 9214, security_fields);

inline constexpr Field certificate_request_fields[] = {
    text("certificateName", 4096),
};
inline constexpr Record certificate_request_record =
    record("certificate_request_record", 4096, certificate_request_fields);

inline constexpr Field notice_fields[] = {
    flag("isBannerEnabled"),
    text("bannerText", 8193),
};
inline constexpr Record notice_record = record("notice_record", 8194, notice_fields);

inline constexpr Field sysdatetime_fields[] = {
    flag("useNtp"),
    text("ntpServerAddress", 46),
    int32("ntpSyncPeriod"),
    text("date", 255),
    text("time", 255),
    text("timeZone", 255),
    flag("isDaylightSavingEnabled"),
    text("daylightSavingStartDate", 255),
    text("daylightSavingStopDate", 255),
    int32("daylightSavingStartHour"),
    int32("daylightSavingStopHour"),
};
inline constexpr Record sysdatetime_record = record("sysdatetime_record", 1335, sysdatetime_fields);

inline constexpr Field ports_fields[] = {
    int32("ethernet1"),
    int32("ethernet2"),
    int32("dvbAsiIn"),
    int32("dvbAsiOut"),
    int32("serialAudioGenLock"),
    int32("cvbs"),
    int32("hdmi"),
    int32("sdi1"),
    int32("sdi2"),
    int32("power"),
};
inline constexpr Record ports_record = record("ports_record", 40, ports_fields);

inline constexpr Field leds_fields[] = {
    int32("ntp"),
    int32("genlock"),
    int32("talkback"),
};
inline constexpr Record leds_record = record("leds_record", 12, leds_fields);

inline constexpr Field services_fields[] = {
    flag("discovery"),
};
inline constexpr Record services_record = record("services_record", 1, services_fields);

inline constexpr Field configuration_fields[] = {
    id("id"),
    text("name", 255),
    text("description", 255),
    text("created", 255),
    flag("isAutoStart"),
};
inline constexpr Record configuration_record =
    record("configuration_record", 770, configuration_fields);

inline constexpr Field package_request_fields[] = {
    text("packageName", 4096),
};
inline constexpr Record package_request_record =
    record("package_request_record", 4096, package_request_fields);

inline constexpr Field operation_result_fields[] = {
    text("status", 11),
    text("message", 255),
};
inline constexpr Record operation_result_record =
    record("operation_result_record", 266, operation_result_fields);

inline constexpr Field upgrade_status_fields[] = {
    int32("status"),
    text("stage", 255),
    int32("percent"),
};
inline constexpr Record upgrade_status_record =
    record("upgrade_status_record", 263, upgrade_status_fields);

inline constexpr Field freespace_fields[] = {
    int32("tmp"),
};
inline constexpr Record freespace_record = record("freespace_record", 4, freespace_fields);

} // namespace records
