#include "simulator/device.h"

#include <algorithm>
#include <ctime>

#include "handlers/admin/records.h"
#include "handlers/status/records.h"
#include "simulator/answers.h"
#include "simulator/commands.h"
#include "simulator/defaults.h"
#include "simulator/format.h"

namespace {

/* Counts a change when a report is no longer the known one. */
void count_if_new(Device &device, Bytes &known, Bytes report, const char *counter)
{
    if (report == known) return;
    known = std::move(report);
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
    for (const SettingsRow &row : settings_table()) {
        device.settings[row.record] = new_record(*row.record, row.defaults);
    }
    set_text(setting(device, records::general_info_record), "software", options.software);
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
    count_if_new(device, device.known_ports, ports_report(device), "portsInfo");
    count_if_new(device, device.known_channel, channel_report(device), "channelInfo");
}

void count_change(Device &device, const char *counter)
{
    set_number(device.counters, counter, get_int(device.counters, counter) + 1.0);
}

RecordBytes &setting(Device &device, const Record &record)
{
    return device.settings.at(&record);
}

const RecordBytes &setting(const Device &device, const Record &record)
{
    return device.settings.at(&record);
}

const RecordBytes *find_item(const ItemList &list, int32_t id)
{
    const auto found =
        std::find_if(list.items.begin(), list.items.end(),
                     [&](const RecordBytes &item) { return get_int(item, "id") == id; });
    return found == list.items.end() ? nullptr : &*found;
}

RecordBytes *find_item(ItemList &list, int32_t id)
{
    return const_cast<RecordBytes *>(find_item(static_cast<const ItemList &>(list), id));
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
