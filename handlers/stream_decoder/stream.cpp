#include "handlers/handlers.h"
#include "handlers/stream_decoder/records.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_stream_get(server *srv, connection *con, plugin_data *p)
{
    return read_list(srv, con, p, CMD_STREAM_GET, stream_record, "handle_stream_get");
}

handler_t handle_stream_post(server *srv, connection *con, plugin_data *p)
{
    return create_item(srv, con, p, CMD_STREAM_NEW, stream_record);
}

handler_t handle_stream_stream_id_get(server *srv, connection *con, plugin_data *p, int32_t id)
{
    return read_record_by_id(srv, con, p, CMD_STREAM_GET, stream_record, id);
}

handler_t handle_stream_stream_id_put(server *srv, connection *con, plugin_data *p, int32_t)
{
    return write_item(srv, con, p, CMD_STREAM_SET, stream_record);
}

handler_t handle_stream_stream_id_delete(server *srv, connection *con, plugin_data *p, int32_t id)
{
    return delete_item(srv, con, p, CMD_STREAM_DEL, id);
}

handler_t handle_stream_select_get(server *, connection *, plugin_data *)
{
    return answer_empty();
}

handler_t handle_stream_select_stream_id_put(server *srv, connection *con, plugin_data *p,
                                             int32_t id)
{
    return run_command_by_id(srv, con, p, CMD_STREAM_SELECT, id);
}
