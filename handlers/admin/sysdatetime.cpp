#include "handlers/admin/records.h"
#include "handlers/handlers.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_sysdatetime_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_SYSDATETIME_GET, sysdatetime_record);
}

handler_t handle_sysdatetime_put(server *srv, connection *con, plugin_data *p)
{
    return write_record(srv, con, p, CMD_SYSDATETIME_SET, sysdatetime_record);
}
