#include "handlers/admin/records.h"
#include "handlers/handlers.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_general_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_GENERAL_GET, general_info_record);
}

handler_t handle_general_restart_put(server *srv, connection *con, plugin_data *p)
{
    return run_command(srv, con, p, CMD_GENERAL_RESTART);
}

handler_t handle_general_factory_reset_put(server *srv, connection *con, plugin_data *p)
{
    return run_command(srv, con, p, CMD_GENERAL_FACTORY_RESET);
}

handler_t handle_general_firmware_upgrade_post(server *srv, connection *con, plugin_data *p)
{
    return submit_record(srv, con, p, CMD_GENERAL_FIRMWARE_UPGRADE, package_request_record,
                         operation_result_record);
}

handler_t handle_general_upgrade_status_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_GENERAL_UPGRADE_STATUS_GET, upgrade_status_record);
}

handler_t handle_general_freespace_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_GENERAL_FREESPACE_GET, freespace_record);
}

handler_t handle_general_uid_led_post(server *, connection *con, plugin_data *p)
{
    return answer_fixed(con, p);
}
