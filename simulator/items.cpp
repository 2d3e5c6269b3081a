#include "simulator/items.h"

#include <algorithm>

#include "handlers/admin/records.h"
#include "simulator/examples.h"
#include "simulator/format.h"
#include "simulator/rules.h"

namespace {

constexpr size_t most_items = 5000; /* what clients are ready to take in one reply */

/* Of the two kinds that clients make and delete. */
struct Kind {
    ItemList &list;
    const char *factory; /* values that a client leaves out */
    const char *counter;
};

Kind kind_of(Device &device, const Record *record)
{
    if (record == &records::stream_record) {
        return {device.streams, stream_defaults, "channelList"};
    }
    return {device.configurations, "", "configList"};
}

Reply all_items(const ItemList &list)
{
    Bytes bytes;
    for (const RecordBytes &item : list.items) append(bytes, item.bytes);
    return success(bytes);
}

std::string no_such_id(int32_t id)
{
    return format("There is no entry with the identifier %d.", id);
}

/* What the client sent, less what is not for clients to set. */
RecordBytes given_item(const Request &request)
{
    RecordBytes given = record_at(*request.record, request.payload);
    if (has_field(*request.record, "status")) set_number(given, "status", -1);
    return given;
}

} // namespace

Reply no_such_item(int32_t id)
{
    return failure(RESULT_REFUSED, no_such_id(id));
}

Reply read_items(Device &device, const Request &request)
{
    ItemList &list = kind_of(device, request.record).list;
    const std::optional<int32_t> id = requested_id(request);
    if (!id) return all_items(list);
    const RecordBytes *item = find_item(list, *id);
    return item ? success(item->bytes) : no_such_item(*id);
}

Reply create_item(Device &device, const Request &request)
{
    const Kind kind = kind_of(device, request.record);
    const RecordBytes given = given_item(request);
    Complaints complaints = check_record(given);
    if (get_text(given, "name").empty()) {
        complaints.push_back({"The name must not be empty.", "name"});
    }
    if (kind.list.items.size() >= most_items) complaints.push_back({"The list is full.", "id"});
    if (!complaints.empty()) return refusal(complaints);

    RecordBytes item = new_record(*request.record, kind.factory);
    merge(item, given);
    if (has_field(*request.record, "created") && get_text(item, "created").empty()) {
        set_text(item, "created", clock_text(device));
    }
    count_change(device, kind.counter);
    return success(add_item(kind.list, item).bytes);
}

Reply change_item(Device &device, const Request &request)
{
    const Kind kind = kind_of(device, request.record);
    const RecordBytes given = given_item(request);
    RecordBytes *item = find_item(kind.list, get_int(given, "id"));
    Complaints complaints = check_record(given);
    if (!item) complaints.push_back({no_such_id(get_int(given, "id")), "id"});
    if (!item || !complaints.empty()) return refusal(complaints);
    merge(*item, given);
    count_change(device, kind.counter);
    return success();
}

Reply remove_item(Device &device, const Request &request)
{
    const Kind kind = kind_of(device, request.record);
    const int32_t id = *requested_id(request);
    const auto is_it = [&](const RecordBytes &item) { return get_int(item, "id") == id; };
    if (std::erase_if(kind.list.items, is_it) == 0) return no_such_item(id);
    count_change(device, kind.counter);
    return success();
}

Reply activate_configuration(Device &device, const Request &request)
{
    const int32_t id = *requested_id(request);
    if (!find_item(device.configurations, id)) return no_such_item(id);
    count_change(device, "configList");
    return success();
}

/* All of the request, or none of it. */
Reply change_interfaces(Device &device, const Request &request)
{
    std::vector<RecordBytes> given;
    Complaints complaints;
    for (size_t at = 0; at < request.payload.size(); at += request.record->size) {
        const int index = static_cast<int>(given.size());
        given.push_back(record_at(*request.record, request.payload, at));
        const int32_t id = get_int(given.back(), "id");
        if (!find_item(device.interfaces, id)) {
            complaints.push_back({no_such_id(id), form_parameter("id", index)});
        }
        const Complaints others = check_record(given.back(), index);
        complaints.insert(complaints.end(), others.begin(), others.end());
    }
    if (!complaints.empty()) return refusal(complaints);
    for (const RecordBytes &one : given) {
        merge(*find_item(device.interfaces, get_int(one, "id")), one);
    }
    if (!given.empty()) count_change(device, "networkParameters");
    return success();
}

Reply read_interfaces(Device &device, const Request &)
{
    return all_items(device.interfaces);
}

Reply read_sap_streams(Device &device, const Request &)
{
    return all_items(device.sap_streams);
}
