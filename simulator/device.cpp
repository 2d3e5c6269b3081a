#include "simulator/device.h"

#include <algorithm>
#include <ctime>

#include "handlers/admin/records.h"
#include "handlers/status/records.h"
#include "simulator/answers.h"
#include "simulator/examples.h"
#include "simulator/format.h"

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

void factory_reset(Device &device)
{
    const RecordBytes counters = device.counters;
    device = factory_device(device.options);
    device.counters = counters;
    for (const Leaf &leaf : leaves(*counters.record)) count_change(device, leaf.key.c_str());
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

void count_change(Device &device, const char *counter)
{
    set_number(device.counters, counter, get_int(device.counters, counter) + 1.0);
}

RecordBytes &setting(Device &device, const Record &record)
{
    return device.settings.at(&record);
}

RecordBytes *find_item(ItemList &list, int32_t id)
{
    const auto found =
        std::find_if(list.items.begin(), list.items.end(),
                     [&](const RecordBytes &item) { return get_int(item, "id") == id; });
    return found == list.items.end() ? nullptr : &*found;
}

const RecordBytes &add_item(ItemList &list, RecordBytes item)
{
    set_number(item, "id", list.next_id++);
    list.items.push_back(std::move(item));
    return list.items.back();
}

std::string clock_text(const Device &device)
{
    using std::chrono::system_clock;
    const std::time_t now = system_clock::to_time_t(system_clock::now() + device.clock_offset);
    std::tm at = {};
    gmtime_r(&now, &at);
    return format("%04d-%02d-%02d %02d:%02d:%02d", at.tm_year + 1900, at.tm_mon + 1, at.tm_mday,
                  at.tm_hour, at.tm_min, at.tm_sec);
}

double seconds_since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}
