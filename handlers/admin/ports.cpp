#include "handlers/admin/records.h"
#include "handlers/handlers.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_ports_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_PORTS_GET, ports_record);
}

handler_t handle_leds_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_LEDS_GET, leds_record);
}

handler_t handle_services_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_SERVICES_GET, services_record);
}

handler_t handle_services_put(server *srv, connection *con, plugin_data *p)
{
    return write_record(srv, con, p, CMD_SERVICES_SET, services_record);
}
