#include "module/plugin.h"

#include <cstdlib>

#include "module/dispatcher.h"
#include "sysmng/plugin_data.h"

namespace {

/* Frees a state, which may be incomplete or null. */
void release(plugin_data *p)
{
    if (!p) return;
    if (p->conn) SysMngDisconnect(p->conn);
    p->conn = nullptr;
    free(p->msg_buf);
    p->msg_buf_size = 0;
    free(p->reply_buf);
    p->reply_buf_size = 0;
    if (p->tmp_buf) buffer_free(p->tmp_buf);
    if (p->params) array_free(p->params);
    free(p);
}

bool make_members(plugin_data *p)
{
    if (!(p->params = array_init())) return false;
    if (!(p->tmp_buf = buffer_init())) return false;
    if (!(p->reply_buf = static_cast<char *>(calloc(1, REPLY_BUF_SIZE)))) return false;
    p->reply_buf_size = REPLY_BUF_SIZE;
    if (!(p->msg_buf = static_cast<uint8_t *>(calloc(1, MSG_BUF_SIZE)))) return false;
    p->msg_buf_size = MSG_BUF_SIZE;
    return (p->conn = SysMngConnect(SYSMNG_WEB_PLUGIN)) != nullptr;
}

/* Called once at start. Null, and the server does not start, when the daemon
 * is not listening. */
void *init()
{
    plugin_data *p = static_cast<plugin_data *>(calloc(1, sizeof(plugin_data)));
    if (!p) return nullptr;
    if (make_members(p)) return p;
    release(p);
    return nullptr;
}

handler_t cleanup(server *, void *state)
{
    release(static_cast<plugin_data *>(state));
    return HANDLER_GO_ON;
}

handler_t state_result(const void *state)
{
    return state ? HANDLER_GO_ON : HANDLER_ERROR;
}

handler_t set_defaults(server *, void *state)
{
    return state_result(state);
}

/* Called once a second. */
handler_t handle_trigger(server *, void *state)
{
    return state_result(state);
}

/* Called when a request is done or given up. */
handler_t connection_reset(server *, connection *, void *state)
{
    return state_result(state);
}

handler_t handle_uri_clean(server *srv, connection *con, void *state)
{
    return mod_kelto_sysmgmt_handle_uri_clean(srv, con, static_cast<plugin_data *>(state));
}

} // namespace

void describe_plugin(plugin *descriptor)
{
    descriptor->version = LIGHTTPD_VERSION_ID;
    descriptor->name = buffer_init_string("kelto_sysmgmt");
    descriptor->init = init;
    descriptor->set_defaults = set_defaults;
    descriptor->cleanup = cleanup;
    descriptor->handle_trigger = handle_trigger;
    descriptor->handle_uri_clean = handle_uri_clean;
    descriptor->connection_reset = connection_reset;
    descriptor->data = nullptr;
}
