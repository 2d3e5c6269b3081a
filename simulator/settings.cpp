/* Settings: records of which the device has just one. */
#include <ctime>

#include "handlers/admin/records.h"
#include "simulator/answers.h"
#include "simulator/rules.h"

using namespace records;

Reply read_setting(Device &device, const SettingsRow &row)
{
    return success(setting(device, *row.record).bytes);
}

Reply write_setting(Device &device, const SettingsRow &row, const Request &request)
{
    RecordBytes given = record_at(*row.record, request.payload);
    Complaints complaints = check_record(given);
    if (row.effect) row.effect(device, given, complaints);
    if (!complaints.empty()) return refusal(complaints);
    merge(setting(device, *row.record), given);
    if (row.counter) count_change(device, row.counter);
    return success();
}

/* The passwords leave the record: nobody can read them back. */
void change_password(Device &device, RecordBytes &given, Complaints &complaints)
{
    const std::string wanted = get_text(given, "newPassword");
    if (!wanted.empty() && get_text(given, "currentPassword") != device.password) {
        complaints.push_back({"The current password is not right.", "currentPassword"});
    }
    if (!complaints.empty()) return;
    if (!wanted.empty()) device.password = wanted;
    set_text(given, "currentPassword", "");
    set_text(given, "newPassword", "");
}

/* The clock runs on from the date and time that are given. Without them, NTP
 * puts it right. */
void set_clock(Device &device, RecordBytes &given, Complaints &complaints)
{
    using std::chrono::system_clock;
    if (!complaints.empty()) return;
    const std::string date = get_text(given, "date"), time = get_text(given, "time");
    if (date.empty() && time.empty()) {
        if (get_int(given, "useNtp")) device.clock_offset = {};
        return;
    }
    const std::string now = clock_text(device);
    const std::string wanted =
        (date.empty() ? now.substr(0, 10) : date) + " " + (time.empty() ? now.substr(11) : time);
    std::tm at = {};
    sscanf(wanted.c_str(), "%d-%d-%d %d:%d:%d", &at.tm_year, &at.tm_mon, &at.tm_mday, &at.tm_hour,
           &at.tm_min, &at.tm_sec);
    at.tm_year -= 1900;
    at.tm_mon -= 1;
    device.clock_offset = system_clock::from_time_t(timegm(&at)) - system_clock::now();
}

Bytes decoder_summary_report(const Device &device)
{
    Bytes report;
    for (uint32_t i = 0; i < decoder_summary_record.count; ++i) {
        const Bytes &group = setting(device, *decoder_summary_record.fields[i].record).bytes;
        report.insert(report.end(), group.begin(), group.end());
    }
    return report;
}

Bytes notice_report(const Device &device)
{
    RecordBytes report = new_record(notice_record);
    copy_shared_fields(report, setting(device, security_record));
    return report.bytes;
}
