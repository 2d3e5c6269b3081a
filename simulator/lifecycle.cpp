#include "simulator/lifecycle.h"

#include "handlers/admin/records.h"
#include "handlers/status/records.h"
#include "simulator/channel.h"
#include "simulator/examples.h"
#include "simulator/settings.h"
#include "simulator/status.h"
#include "simulator/upgrade.h"

namespace {

/* Counts a change when a report is no longer the known one. */
void count_if_new(Device &device, Bytes &known, const Reply &report, const char *counter)
{
    if (report.record == known) return;
    known = report.record;
    count_change(device, counter);
}

} // namespace

Device factory_device(const DeviceOptions &options)
{
    Device device = {};
    device.options = options;
    device.started = Clock::now();
    device.password = "admin";
    device.counters = new_record(records::changes_record);
    reset_settings(device);
    add_examples(device);
    select_first_stream(device);
    settle(device);
    return device;
}

void settle(Device &device)
{
    finish_upgrade(device);
    mark_running_stream(device);
    RecordBytes &date_time = setting(device, records::sysdatetime_record);
    set_text(date_time, "date", clock_text(device).substr(0, 10));
    set_text(date_time, "time", clock_text(device).substr(11));
    count_if_new(device, device.known_ports, read_ports(device, {}), "portsInfo");
    count_if_new(device, device.known_channel, read_channel(device, {}), "channelInfo");
}

Reply restart(Device &device, const Request &)
{
    device.started = Clock::now();
    device.channel.started = device.started;
    device.channel.talkback = false;
    return success();
}

Reply reset_to_factory(Device &device, const Request &)
{
    const RecordBytes counters = device.counters;
    const auto shown = device.shown;
    device = factory_device(device.options);
    device.counters = counters;
    device.shown = shown;
    for (const Leaf &leaf : leaves(*counters.record)) count_change(device, leaf.key.c_str());
    return success();
}
