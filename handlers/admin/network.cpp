#include "handlers/admin/records.h"
#include "handlers/handlers.h"
#include "reply/answers.h"

using namespace records;

/* As many as fit the message buffer at its initial size. */
constexpr int most_interfaces = 34;
static_assert(most_interfaces * network_interface_record.size <= MSG_BUF_SIZE);

handler_t handle_network_get(server *srv, connection *con, plugin_data *p)
{
    return read_list(srv, con, p, CMD_NETWORK_GET, network_interface_record, "handle_network_get");
}

handler_t handle_network_put(server *srv, connection *con, plugin_data *p)
{
    return write_indexed_records(srv, con, p, CMD_NETWORK_SET, network_interface_record,
                                 most_interfaces);
}
