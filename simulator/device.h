/* The simulated appliance: all that the daemon knows and remembers. */
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "simulator/record_values.h"

using Clock = std::chrono::steady_clock;

struct DeviceOptions {
    std::string software = "2.4.1"; /* the version; clients make a path of it */
    int streams = 6;
    int interfaces = 2;
    int upgrade_seconds = 10;
    int speed = 1; /* times as fast as the host's clock */
};

/* Records of one kind, told apart by their "id". */
struct ItemList {
    std::vector<RecordBytes> items;
    int32_t next_id = 1;
};

struct Channel {
    int32_t selected = -1; /* a stream's id; -1: none */
    bool running = false;
    bool talkback = false;
    Clock::time_point started;
    double ran = 0; /* seconds, once it is stopped */
};

struct Upgrade {
    enum { None, Running, Done, Failed } state = None;
    Clock::time_point started;
    int ends_at = 100; /* percent; below 100 it fails there */
};

/* A value that a report shows in place of the device's own. */
struct ShownValue {
    std::string text;
    /* With seconds, a number that moves between these two. */
    double from = 0, to = 0, seconds = 0;
    Clock::time_point since;
};

struct Device {
    DeviceOptions options;
    std::map<const Record *, RecordBytes> settings; /* one record for each row of their table */
    ItemList streams, configurations, interfaces, sap_streams;
    std::string password;
    Channel channel;
    Upgrade upgrade;
    int next_upgrade_ends_at = 100;
    std::map<const Record *, std::map<std::string, ShownValue>> shown; /* by record and key */
    RecordBytes counters;                                              /* a changes_record */
    Bytes known_ports, known_channel; /* their reports, when changes were last counted */
    Clock::time_point started;
    std::chrono::system_clock::duration clock_offset{}; /* the device's clock to the host's */
};

/* Adds 1 to the counter of changes with this key. */
void count_change(Device &device, const char *counter);

RecordBytes &setting(Device &device, const Record &record);

/* The setting, or the item with the identifier; null when there is none. */
const RecordBytes *find_stored(Device &device, const Record &record, int32_t id);

/* The report with the values that are to be shown in place of its own. */
RecordBytes as_shown(const Device &device, RecordBytes report);

/* Null when there is none. */
RecordBytes *find_item(ItemList &list, int32_t id);

/* Gives the item the next identifier and puts it at the end. */
const RecordBytes &add_item(ItemList &list, RecordBytes item);

/* The device's clock: "2025-12-31 23:59:59". */
std::string clock_text(const Device &device);

/* In the device's time, which may go by faster than the host's. */
double seconds_since(const Device &device, Clock::time_point start);
