#include "handlers/handlers.h"
#include "handlers/status/records.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_zixi_stats_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_ZIXI_STATS_GET, zixi_stats_record);
}

handler_t handle_srt_stats_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_SRT_STATS_GET, srt_stats_record);
}
