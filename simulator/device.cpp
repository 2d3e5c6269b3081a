#include "simulator/device.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include "simulator/format.h"

void count_change(Device &device, const char *counter)
{
    set_number(device.counters, counter, get_int(device.counters, counter) + 1.0);
}

RecordBytes &setting(Device &device, const Record &record)
{
    return device.settings.at(&record);
}

const RecordBytes *find_stored(Device &device, const Record &record, int32_t id)
{
    const auto found = device.settings.find(&record);
    if (found != device.settings.end()) return &found->second;
    for (ItemList *list : {&device.streams, &device.configurations, &device.interfaces}) {
        const RecordBytes *item = find_item(*list, id);
        if (item && item->record == &record) return item;
    }
    return nullptr;
}

RecordBytes as_shown(const Device &device, RecordBytes report)
{
    const auto values = device.shown.find(report.record);
    if (values == device.shown.end()) return report;
    for (const auto &[key, value] : values->second) {
        if (value.seconds > 0) {
            const double passed = seconds_since(device, value.since) / value.seconds;
            set_number(report, key, std::lerp(value.from, value.to, std::min(passed, 1.0)));
        } else {
            set_text(report, key, value.text);
        }
    }
    return report;
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

double seconds_since(const Device &device, Clock::time_point start)
{
    return device.options.speed * std::chrono::duration<double>(Clock::now() - start).count();
}
