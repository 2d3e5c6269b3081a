#include "simulator/upgrade.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "handlers/admin/records.h"
#include "simulator/format.h"

namespace {

using namespace records;

struct Stage {
    int from_percent;
    const char *name;
};

constexpr Stage stages[] = {{0, "Checking the package"},      {15, "Erasing the flash memory"},
                            {30, "Writing the new software"}, {80, "Verifying the new software"},
                            {95, "Restarting the services"},  {100, "Finished"}};

int percent_done(const Device &device)
{
    const double length = device.options.upgrade_seconds;
    const double passed = seconds_since(device, device.upgrade.started);
    const int percent = passed >= length ? 100 : static_cast<int>(100 * passed / length);
    return std::min(percent, device.upgrade.ends_at);
}

/* Why the file is refused; empty when it is not. */
std::string objection(const std::string &path)
{
    struct stat status = {};
    if (path.empty()) return "No file was given.";
    if (stat(path.c_str(), &status) < 0) {
        return format("The file %s can't be read: %s.", path.c_str(), strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) return path + " is not a file that can be read.";
    std::string begin(3, '\0');
    std::ifstream(path).read(begin.data(), 3);
    return begin == "BAD" ? "The file is damaged." : "";
}

/* "2.4.1" becomes "2.4.2". */
std::string next_version(const std::string &version)
{
    const size_t begin = version.find_last_not_of("0123456789") + 1; /* of the last number */
    const unsigned long number = strtoul(version.c_str() + begin, nullptr, 10);
    return version.substr(0, begin) + std::to_string(number + 1);
}

std::string base_name(const std::string &path)
{
    return path.substr(path.find_last_of('/') + 1);
}

Bytes operation_result(const char *status, const std::string &message)
{
    RecordBytes result = new_record(operation_result_record);
    set_text(result, "status", status);
    set_text(result, "message", message);
    return result.bytes;
}

} // namespace

Reply refuse_file(const std::string &reason)
{
    return {RESULT_REFUSED, operation_result("ERROR", reason), reason};
}

Reply start_upgrade(Device &device, const Request &request)
{
    const std::string path = get_text(record_at(*request.record, request.payload), "packageName");
    if (device.upgrade.state == Upgrade::Running) {
        return refuse_file("An upgrade is already going on.");
    }
    const std::string reason = objection(path);
    if (!reason.empty()) return refuse_file(reason);
    device.upgrade = {Upgrade::Running, Clock::now(), device.next_upgrade_ends_at};
    return success(operation_result("OK", "Installing " + base_name(path) + "."));
}

Reply install_certificate(Device &device, const Request &request)
{
    const std::string path =
        get_text(record_at(*request.record, request.payload), "certificateName");
    const std::string reason = objection(path);
    if (!reason.empty()) return refuse_file(reason);
    set_text(setting(device, security_record), "certificateName", base_name(path));
    return success(operation_result("OK", base_name(path) + " is the certificate now."));
}

Reply use_default_certificate(Device &device, const Request &)
{
    set_text(setting(device, security_record), "certificateName", "default");
    return success();
}

Reply read_upgrade(Device &device, const Request &)
{
    const bool has_begun = device.upgrade.state != Upgrade::None;
    const int percent = has_begun ? percent_done(device) : 0;
    RecordBytes report = new_record(upgrade_status_record, "stage=Idle");
    set_number(report, "status", device.upgrade.state);
    set_number(report, "percent", percent);
    const std::string lead = device.upgrade.state == Upgrade::Failed ? "Failed: " : "";
    for (const Stage &stage : stages) {
        const bool is_reached = has_begun && percent >= stage.from_percent;
        if (is_reached) set_text(report, "stage", lead + stage.name);
    }
    return success(as_shown(device, report).bytes);
}

void finish_upgrade(Device &device)
{
    Upgrade &upgrade = device.upgrade;
    if (upgrade.state != Upgrade::Running || percent_done(device) < upgrade.ends_at) return;
    upgrade.state = upgrade.ends_at < 100 ? Upgrade::Failed : Upgrade::Done;
    if (upgrade.state == Upgrade::Failed) return;
    device.options.software = next_version(device.options.software);
    set_text(setting(device, general_info_record), "software", device.options.software);
    count_change(device, "software");
}
