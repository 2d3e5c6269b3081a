/* Lists of records that are told apart by their identifiers. */
#include <algorithm>

#include "handlers/admin/records.h"
#include "simulator/answers.h"
#include "simulator/format.h"
#include "simulator/rules.h"
#include "sysmng/bytes.h"

namespace {

constexpr size_t most_items = 5000; /* what clients are ready to take in one reply */

Bytes all_bytes(const ItemList &list)
{
    Bytes bytes;
    for (const RecordBytes &item : list.items) {
        bytes.insert(bytes.end(), item.bytes.begin(), item.bytes.end());
    }
    return bytes;
}

std::string no_such_id(int32_t id)
{
    return format("There is no entry with the identifier %d.", id);
}

/* What the client sent, less what is not for clients to set. */
RecordBytes given_item(const ItemsRow &row, const Request &request)
{
    RecordBytes given = record_at(*row.record, request.payload);
    if (has_field(*row.record, "status")) set_number(given, "status", -1);
    return given;
}

} // namespace

int32_t requested_id(const Request &request)
{
    return load_i32(request.payload.data());
}

Reply no_such_item(int32_t id)
{
    return failure(RESULT_REFUSED, no_such_id(id));
}

Reply read_items(Device &device, const ItemsRow &row, const Request &request)
{
    const ItemList &list = device.*row.list;
    if (request.payload.empty()) return success(all_bytes(list));
    const RecordBytes *item = find_item(list, requested_id(request));
    return item ? success(item->bytes) : no_such_item(requested_id(request));
}

Reply create_item(Device &device, const ItemsRow &row, const Request &request)
{
    ItemList &list = device.*row.list;
    const RecordBytes given = given_item(row, request);
    Complaints complaints = check_record(given);
    if (get_text(given, "name").empty()) {
        complaints.push_back({"The name must not be empty.", "name"});
    }
    if (list.items.size() >= most_items) complaints.push_back({"The list is full.", "id"});
    if (!complaints.empty()) return refusal(complaints);

    RecordBytes item = new_record(*row.record, row.defaults);
    merge(item, given);
    if (has_field(*row.record, "created") && get_text(item, "created").empty()) {
        set_text(item, "created", clock_text(device));
    }
    count_change(device, row.counter);
    return success(add_item(list, item).bytes);
}

Reply change_item(Device &device, const ItemsRow &row, const Request &request)
{
    const RecordBytes given = given_item(row, request);
    RecordBytes *item = find_item(device.*row.list, get_int(given, "id"));
    Complaints complaints = check_record(given);
    if (!item) complaints.push_back({no_such_id(get_int(given, "id")), "id"});
    if (!complaints.empty()) return refusal(complaints);
    merge(*item, given);
    count_change(device, row.counter);
    return success();
}

Reply remove_item(Device &device, const ItemsRow &row, const Request &request)
{
    std::vector<RecordBytes> &items = (device.*row.list).items;
    const int32_t id = requested_id(request);
    const size_t removed =
        std::erase_if(items, [&](const RecordBytes &item) { return get_int(item, "id") == id; });
    if (removed == 0) return no_such_item(id);
    count_change(device, row.counter);
    return success();
}

Reply activate_configuration(Device &device, const Request &request)
{
    const int32_t id = requested_id(request);
    if (!find_item(device.configurations, id)) return no_such_item(id);
    count_change(device, "configList");
    return success();
}

/* All of the request, or none of it. */
Reply change_interfaces(Device &device, const Request &request)
{
    const Record &record = records::network_interface_record;
    std::vector<RecordBytes> given;
    Complaints complaints;
    for (size_t at = 0; at < request.payload.size(); at += record.size) {
        const int index = static_cast<int>(given.size());
        given.push_back(record_at(record, request.payload, at));
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

Bytes interfaces_report(const Device &device)
{
    return all_bytes(device.interfaces);
}

Bytes sap_streams_report(const Device &device)
{
    return all_bytes(device.sap_streams);
}
