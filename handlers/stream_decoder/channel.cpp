#include "handlers/handlers.h"
#include "handlers/stream_decoder/records.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_channel_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_CHANNEL_GET, channel_record);
}

handler_t handle_channel_info_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_CHANNEL_INFO_GET, channel_info_record);
}

handler_t handle_channel_start_put(server *srv, connection *con, plugin_data *p)
{
    return run_command(srv, con, p, CMD_CHANNEL_START);
}

handler_t handle_channel_stop_put(server *srv, connection *con, plugin_data *p)
{
    return run_command(srv, con, p, CMD_CHANNEL_STOP);
}
