#include "simulator/examples.h"

#include <iterator>

#include "handlers/admin/records.h"
#include "simulator/format.h"

namespace {

constexpr const char *streams[] = {
    "name=Studio A main; protocol=1; ipAddress=239.10.0.1; port=5000; videoPid=256; audio1Pid=257",
    "name=Studio B backup; ipAddress=239.10.0.2; port=5002; videoPid=512; audio1Pid=513",
    "name=City hall camera; protocol=3; ipAddress=10.20.4.17; port=6000; channelInput=1",
    "name=Stadium uplink; protocol=2; ipAddress=198.51.100.24; port=2088; channelName=stadium",
    "name=Helicopter; protocol=3; ipAddress=203.0.113.9; port=6010; latency=250; isUll=true",
    "name=Weather radar; ipAddress=239.10.0.40; port=5040; fecPort1=5042; fecPort2=5044",
};

constexpr const char *configurations[] = {
    "name=Factory; description=As delivered; created=2025-01-15 09:30:00; isAutoStart=true",
    "name=Stadium; description=Zixi uplink, two outputs; created=2025-02-03 18:05:12",
};

constexpr const char *announced[] = {
    "protocol=1; ipAddress=239.192.1.10; port=5004; videoPid=256; audio1Pid=257; isSap=true",
    "protocol=1; ipAddress=239.192.1.11; port=5004; videoPid=512; audio1Pid=513; isSap=true",
};

/* The examples, and from there on variations of them with a number. */
RecordBytes example_stream(int number)
{
    const int count = static_cast<int>(std::size(streams));
    const int round = number / count;
    RecordBytes stream = new_record(records::stream_record, stream_defaults);
    set_texts(stream, streams[number % count]);
    if (round == 0) return stream;
    set_text(stream, "name", format("%s %d", get_text(stream, "name").c_str(), round + 1));
    set_number(stream, "port", get_int(stream, "port") + 100 + round);
    return stream;
}

RecordBytes example_interface(int number)
{
    const char *first = number == 0 ? "true" : "false";
    const int subnet = number + 1;
    const std::string texts = format(
        "type=%d; ipAddress=192.168.%d.20; networkMask=255.255.255.0; "
        "defaultGateway=192.168.%d.1; ip6Type=1; ip6AutoAddress=fd00:%d::20; ip6AutoPrefix=64; "
        "ip6ManualAddress=fd00:%d::1020; ip6ManualPrefix=64; isManagementAccess=%s; "
        "isPrimaryDefaultGateway=%s; hardwareAddress=00:1B:44:11:3A:%02X",
        number > 0, subnet, subnet, subnet, subnet, first, first, subnet);
    return new_record(records::network_interface_record, texts);
}

} // namespace

void add_examples(Device &device)
{
    using namespace records;
    for (int i = 0; i < device.options.streams; ++i) add_item(device.streams, example_stream(i));
    for (int i = 0; i < device.options.interfaces; ++i) {
        add_item(device.interfaces, example_interface(i));
    }
    for (const char *texts : configurations) {
        add_item(device.configurations, new_record(configuration_record, texts));
    }
    for (const char *texts : announced) {
        add_item(device.sap_streams, new_record(sap_stream_record, texts));
    }
}
