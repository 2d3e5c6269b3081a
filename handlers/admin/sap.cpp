#include "handlers/admin/records.h"
#include "handlers/handlers.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_sap_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_SAP_GET, sap_record);
}

handler_t handle_sap_put(server *srv, connection *con, plugin_data *p)
{
    return write_record(srv, con, p, CMD_SAP_SET, sap_record);
}

handler_t handle_sap_stream_get(server *srv, connection *con, plugin_data *p)
{
    return read_list(srv, con, p, CMD_SAP_STREAM_GET, sap_stream_record, "handle_sap_stream_get");
}

handler_t handle_sap_stream_post(server *, connection *, plugin_data *)
{
    return answer_empty();
}
