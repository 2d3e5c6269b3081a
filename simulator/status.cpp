#include "simulator/status.h"

#include <sys/statvfs.h>

#include <algorithm>

#include "handlers/admin/records.h"
#include "handlers/status/records.h"
#include "simulator/format.h"
#include "simulator/moving.h"

using namespace records;

Reply read_uptime(Device &device, const Request &)
{
    static constexpr Swing swings[] = {{"temperatureC", 41, 47, 90}, {"fansRPM", 2850, 3300, 60}};
    const double seconds = seconds_since(device, device.started);
    const unsigned whole = static_cast<unsigned>(seconds);
    RecordBytes report = new_record(uptime_record);
    set_text(report, "dateTime", clock_text(device));
    set_text(report, "uptime",
             format("%u days %02u:%02u:%02u", whole / 86400, whole / 3600 % 24, whole / 60 % 60,
                    whole % 60));
    set_swings(report, swings, seconds);
    return success(as_shown(device, report).bytes);
}

Reply read_changes(Device &device, const Request &)
{
    return success(as_shown(device, device.counters).bytes);
}

Reply read_ports(Device &device, const Request &)
{
    const RecordBytes &video = setting(device, decoder_video_record);
    const auto is_output = [&](const char *key) {
        return device.channel.running && get_int(video, key);
    };
    RecordBytes report = new_record(ports_record, "ethernet1=1; serialAudioGenLock=1; power=1");
    set_number(report, "ethernet2", device.options.interfaces > 1);
    set_number(report, "cvbs", is_output("isComposite"));
    set_number(report, "hdmi", is_output("isHdmi"));
    set_number(report, "sdi1", is_output("isPrimarySdi1"));
    set_number(report, "sdi2", is_output("isPrimarySdi2") || is_output("isSecondarySdi2"));
    return success(as_shown(device, report).bytes);
}

Reply read_leds(Device &device, const Request &)
{
    const RecordBytes &configuration = setting(device, decoder_configuration_record);
    RecordBytes report = new_record(leds_record);
    set_number(report, "ntp", get_int(setting(device, sysdatetime_record), "useNtp"));
    set_number(report, "genlock", get_int(configuration, "clockSource") == 1);
    set_number(report, "talkback", device.channel.talkback);
    return success(as_shown(device, report).bytes);
}

/* In MiB. */
Reply read_freespace(Device &device, const Request &)
{
    RecordBytes report = new_record(freespace_record);
    struct statvfs disk = {};
    if (statvfs("/tmp", &disk) == 0) {
        const double bytes =
            static_cast<double>(disk.f_bavail) * static_cast<double>(disk.f_frsize);
        set_number(report, "tmp", std::min(bytes / 1048576, double{INT32_MAX}));
    }
    return success(as_shown(device, report).bytes);
}
