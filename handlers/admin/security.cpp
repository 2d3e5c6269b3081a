#include "handlers/admin/records.h"
#include "handlers/handlers.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_security_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_SECURITY_GET, security_record);
}

handler_t handle_security_put(server *srv, connection *con, plugin_data *p)
{
    return write_record(srv, con, p, CMD_SECURITY_SET, security_record);
}

handler_t handle_security_certificate_post(server *srv, connection *con, plugin_data *p)
{
    return submit_record(srv, con, p, CMD_SECURITY_CERTIFICATE, certificate_request_record,
                         operation_result_record);
}

handler_t handle_security_certificate_default_put(server *srv, connection *con, plugin_data *p)
{
    return run_command(srv, con, p, CMD_SECURITY_CERTIFICATE_DEFAULT);
}

handler_t handle_notice_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_NOTICE_GET, notice_record);
}
