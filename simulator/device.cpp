#include "simulator/device.h"

#include <algorithm>
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
