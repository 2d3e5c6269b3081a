#include "handlers/admin/records.h"
#include "handlers/handlers.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_configuration_get(server *srv, connection *con, plugin_data *p)
{
    return read_list(srv, con, p, CMD_CONFIGURATION_GET, configuration_record,
                     "handle_configuration_get");
}

handler_t handle_configuration_post(server *srv, connection *con, plugin_data *p)
{
    return create_item(srv, con, p, CMD_CONFIGURATION_NEW, configuration_record);
}

handler_t handle_configuration_conf_id_get(server *srv, connection *con, plugin_data *p, int32_t id)
{
    return read_record_by_id(srv, con, p, CMD_CONFIGURATION_GET, configuration_record, id);
}

handler_t handle_configuration_conf_id_put(server *srv, connection *con, plugin_data *p, int32_t)
{
    return write_item(srv, con, p, CMD_CONFIGURATION_SET, configuration_record);
}

handler_t handle_configuration_conf_id_delete(server *srv, connection *con, plugin_data *p,
                                              int32_t id)
{
    return delete_item(srv, con, p, CMD_CONFIGURATION_DEL, id);
}

handler_t handle_configuration_activate_get(server *, connection *, plugin_data *)
{
    return answer_empty();
}

handler_t handle_configuration_activate_conf_id_put(server *srv, connection *con, plugin_data *p,
                                                    int32_t id)
{
    return run_command_by_id(srv, con, p, CMD_CONFIGURATION_ACTIVATE, id);
}
