#include "module/dispatcher.h"

#include <cstring>

#include "input/body.h"
#include "module/routes.h"
#include "module/version_path.h"

namespace {

/* The request's path, at most 511 characters. No route is longer, and a path
 * that was cut could match a wrong one: longer ones are left to the server. */
struct Path {
    char text[512];
};

/* False when the path is not for this module. One trailing slash is removed. */
bool copy_path(Path &copy, const buffer *path)
{
    size_t length = path->used > 0 ? path->used - 1 : 0;
    if (length == 0 || length >= sizeof(copy.text)) return false;
    memcpy(copy.text, path->ptr, length);
    if (copy.text[length - 1] == '/') --length;
    copy.text[length] = '\0';
    return true;
}

void set_header(connection *con, http_header_e id, const char *name, const char *value)
{
    http_header_response_set(con, id, name, strlen(name), value, strlen(value));
}

void append_header(connection *con, http_header_e id, const char *name, const char *value)
{
    http_header_response_append(con, id, name, strlen(name), value, strlen(value));
}

handler_t call_handler(const Action &action, int32_t id, server *srv, connection *con,
                       plugin_data *p)
{
    return action.id_handler ? action.id_handler(srv, con, p, id) : action.handler(srv, con, p);
}

/* False when there is no memory for it. */
bool queue_body(connection *con, const plugin_data *p)
{
    buffer *body = buffer_init();
    if (!body) return false;
    buffer_append_string_len(body, p->reply_buf, p->reply_len);
    chunkqueue_append_buffer(con->write_queue, body);
    buffer_free(body);
    set_header(con, HTTP_HEADER_CONTENT_TYPE, "Content-Type", "text/json");
    append_header(con, HTTP_HEADER_OTHER, "Access-Control-Max-Age", "0");
    append_header(con, HTTP_HEADER_CACHE_CONTROL, "Cache-Control",
                  "max-age=0,no-cache,no-store,post-check=0,pre-check=0,must-revalidate");
    append_header(con, HTTP_HEADER_OTHER, "Expires", "-1");
    return true;
}

handler_t complete(connection *con, const plugin_data *p)
{
    if (p->reply_len > 0 && !queue_body(con, p)) con->http_status = 507;
    /* In direct mode the server would replace the headers and the body by its
     * own error page. */
    if (con->http_status >= 400) con->mode = p->id;
    con->file_finished = 1;
    return HANDLER_FINISHED;
}

/* A plugin's index is a small number. Anything else shows that the server's
 * structures are not those that the module was built for. */
void report_unfit_server(server *srv)
{
    static bool reported;
    if (reported) return;
    reported = true;
    log_error_write(srv, "mod_kelto_sysmgmt", __LINE__, "s",
                    "The module does not fit this server, which was built with 32-bit file offsets "
                    "or with 64-bit times: every request is left to the server");
}

/* Whether no other plugin has taken the request. */
bool is_untaken(server *srv, const connection *con)
{
    constexpr size_t most_plugins = 4096;
    if (con->mode > most_plugins) report_unfit_server(srv);
    return con->mode == DIRECT;
}

handler_t dispatch(server *srv, connection *con, plugin_data *p, const Path &path)
{
    const RouteMatch match = find_route(path.text);
    if (!match.route) return HANDLER_GO_ON;
    const Action *action = find_action(*match.route, con->request.http_method);
    if (!action) {
        con->http_status = 405;
        append_header(con, HTTP_HEADER_OTHER, "Allow", match.route->allow);
        return complete(con, p);
    }
    const handler_t result = call_handler(*action, match.id, srv, con, p);
    if (result != HANDLER_WAIT_FOR_EVENT) release_giant_form(con, p);
    return result == HANDLER_GO_ON ? complete(con, p) : result;
}

} // namespace

handler_t mod_kelto_sysmgmt_handle_uri_clean(server *srv, connection *con, plugin_data *p)
{
    Path path;
    if (!is_untaken(srv, con) || !copy_path(path, con->uri.path)) return HANDLER_GO_ON;
    p->reply_len = 0;
    switch (apply_path_rules(srv, con, p, path.text)) {
        case PathRule::Serve: return HANDLER_GO_ON;
        case PathRule::Redirect: return HANDLER_FINISHED;
        case PathRule::Route: break;
    }
    return dispatch(srv, con, p, path);
}

Needs needs_of(const connection *con)
{
    Path path;
    if (!copy_path(path, con->uri.path)) return Needs::Nothing;
    const RouteMatch match = find_route(path.text);
    const Action *action =
        match.route ? find_action(*match.route, con->request.http_method) : nullptr;
    const Needs needs = action ? action->needs : Needs::Nothing;
    return needs == Needs::Nothing && !version_known() ? Needs::Daemon : needs;
}

bool answers_path(const connection *con)
{
    Path path;
    if (!copy_path(path, con->uri.path)) return false;
    return path_rule(path.text) == PathRule::Redirect || find_route(path.text).route;
}
