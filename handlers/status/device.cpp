#include "handlers/handlers.h"
#include "handlers/status/records.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_uptime_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_UPTIME_GET, uptime_record);
}

handler_t handle_changes_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_CHANGES_GET, changes_record);
}
