#include "adapter/bridge.h"

#include <string_view>

#include "module/dispatcher.h"
#include "module/plugin.h"
#include "server/hosting/hosting.h"

namespace {

plugin descriptor;
connection *con; /* of every request, one after the other */

/* The first word of the state, which a 1.4.51 writes. Any but 0 will do. */
constexpr size_t plugin_index = 1;

std::string_view view(stock_text text)
{
    return {text.data, text.length};
}

stock_text text_of(const buffer *b)
{
    return b->used > 0 ? stock_text{b->ptr, b->used - 1} : stock_text{"", 0};
}

/* The module hands its server through unread, so what it gets as its server is
 * the packaged server's request. */
server *as_server(void *request)
{
    return static_cast<server *>(request);
}

handler_t read_body(server *request, connection *, void *)
{
    return static_cast<handler_t>(server_read_body(request));
}

void write_log(server *request, const char *label, unsigned line, const char *text)
{
    server_log(request, label, line, text);
}

void hand_over_headers(void *request)
{
    const array *headers = hosted_response_headers(con);
    for (size_t i = 0; i < headers->used; ++i) {
        const data_string *header = reinterpret_cast<data_string *>(headers->data[i]);
        server_set_header(request, text_of(header->key), text_of(header->value));
    }
}

} // namespace

void *module_init()
{
    hosted_log_to(write_log);
    describe_plugin(&descriptor);
    con = hosted_connection_new();
    size_t *state = descriptor.name && con ? static_cast<size_t *>(descriptor.init()) : nullptr;
    if (state) {
        *state = plugin_index;
    } else {
        module_cleanup(nullptr);
    }
    return state;
}

void module_cleanup(void *state)
{
    descriptor.cleanup(nullptr, state);
    hosted_connection_free(con);
    con = nullptr;
    buffer_free(descriptor.name);
    descriptor.name = nullptr;
}

int module_set_defaults(void *state)
{
    return descriptor.set_defaults(nullptr, state);
}

int module_handle_trigger(void *state)
{
    return descriptor.handle_trigger(nullptr, state);
}

int module_request_reset(void *state)
{
    return descriptor.connection_reset(nullptr, con, state);
}

void module_begin(int method, stock_text path, int taken)
{
    con->request.http_method = static_cast<http_method_t>(method);
    if (taken) con->mode = plugin_index + 1;
    hosted_set_path(con, view(path));
    hosted_on_read_body(con, read_body, nullptr);
}

void module_add_request_header(stock_text name, stock_text value)
{
    hosted_add_request_header(con, view(name), view(value));
}

void module_add_response_header(stock_text name, stock_text value)
{
    http_header_response_set(con, HTTP_HEADER_OTHER, name.data, name.length, value.data,
                             value.length);
}

void module_begin_body(int64_t length)
{
    hosted_clear_body(con);
    con->request.content_length = length;
}

void module_append_memory(stock_text bytes, size_t offset)
{
    hosted_append_memory_view(con, view(bytes), offset);
}

void module_append_file(stock_text name, int64_t length, int fd)
{
    hosted_append_file(con, view(name), length, fd);
}

stock_answer module_handle(void *state, void *request)
{
    const handler_t result = descriptor.handle_uri_clean(as_server(request), con, state);
    hand_over_headers(request);
    const std::string_view body = hosted_response_body(con);
    if (!body.empty()) server_append_body(request, {body.data(), body.size()});
    return {result, con->http_status, con->file_finished, con->mode == plugin_index,
            text_of(con->uri.path)};
}

void module_end()
{
    hosted_connection_reset(con);
}
