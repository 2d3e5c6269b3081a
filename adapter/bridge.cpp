#include "adapter/bridge.h"

#include <cstdlib>
#include <string_view>

#include "adapter/line.h"
#include "module/dispatcher.h"
#include "module/plugin.h"
#include "server/hosting/hosting.h"
#include "sysmng/command.h"

namespace {

plugin descriptor;

/* Requests that are done with are used again, with their storage. */
module_request *unused;
unsigned unused_count;
constexpr unsigned most_unused = 8;

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

/* What the module gets as its server is the module_request. */
void write_log(server *m, const char *label, unsigned line, const char *text)
{
    server_write_log(reinterpret_cast<module_request *>(m)->request, label, line, text);
}

void hand_over_headers(const module_request *m)
{
    const array *headers = hosted_response_headers(m->con);
    for (size_t i = 0; i < headers->used; ++i) {
        const data_string *header = reinterpret_cast<data_string *>(headers->data[i]);
        server_set_header(m->request, text_of(header->key), text_of(header->value));
    }
}

module_request *take_unused()
{
    module_request *m = unused;
    if (!m) return nullptr;
    unused = m->next;
    --unused_count;
    return m;
}

module_request *make_request()
{
    module_request *m = static_cast<module_request *>(calloc(1, sizeof(module_request)));
    if (m && !(m->con = hosted_connection_new())) {
        free(m);
        return nullptr;
    }
    return m;
}

void destroy(module_request *m)
{
    hosted_connection_free(m->con);
    free(m);
}

void put_aside(module_request *m)
{
    if (unused_count == most_unused) {
        destroy(m);
        return;
    }
    hosted_connection_reset(m->con);
    m->next = unused;
    unused = m;
    ++unused_count;
}

} // namespace

void *module_init()
{
    hosted_log_to(write_log);
    describe_plugin(&descriptor);
    size_t *state = descriptor.name ? static_cast<size_t *>(descriptor.init()) : nullptr;
    if (!state || !line_open(descriptor.handle_uri_clean, state)) {
        module_cleanup(state);
        return nullptr;
    }
    *state = plugin_index;
    return state;
}

void module_cleanup(void *state)
{
    line_close();
    descriptor.cleanup(nullptr, state);
    while (unused) destroy(take_unused());
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

struct module_statistics module_get_statistics()
{
    return {command_counts.sent, command_counts.failed, command_counts.timed_out, line_waiting(),
            static_cast<unsigned>(line_longest_wait_us() / 1000)};
}

module_request *module_request_new(void *request, int method, stock_text path)
{
    module_request *m = take_unused();
    if (!m && !(m = make_request())) return nullptr;
    m->request = request;
    m->stage = module_request::NEW;
    m->waiting_since_us = 0;
    m->con->request.http_method = static_cast<http_method_t>(method);
    hosted_set_path(m->con, view(path));
    return m;
}

void module_request_free(module_request *m)
{
    if (line_leave(m)) put_aside(m);
}

int module_needs_body(const module_request *m)
{
    return needs_of(m->con) == Needs::Form;
}

int module_answers_path(const module_request *m)
{
    return answers_path(m->con);
}

void module_add_request_header(module_request *m, stock_text name, stock_text value)
{
    hosted_add_request_header(m->con, view(name), view(value));
}

void module_add_response_header(module_request *m, stock_text name, stock_text value)
{
    http_header_response_set(m->con, HTTP_HEADER_OTHER, name.data, name.length, value.data,
                             value.length);
}

void module_set_body_length(module_request *m, int64_t length)
{
    m->con->request.content_length = length;
}

void module_append_memory(module_request *m, stock_text bytes, size_t offset)
{
    hosted_append_memory_view(m->con, view(bytes), offset);
}

void module_append_file(module_request *m, stock_text name, int64_t length, int fd)
{
    hosted_append_file(m->con, view(name), length, fd);
}

int module_handle(module_request *m)
{
    return line_enter(m);
}

int module_is_answered(const module_request *m)
{
    return m->stage == module_request::ANSWERED;
}

int module_is_in_line(const module_request *m)
{
    return m->stage == module_request::IN_LINE;
}

stock_answer module_answer(module_request *m)
{
    hand_over_headers(m);
    const std::string_view body = hosted_response_body(m->con);
    if (!body.empty()) server_append_body(m->request, {body.data(), body.size()});
    return {m->result, m->con->http_status, m->con->file_finished, m->con->mode == plugin_index,
            text_of(m->con->uri.path)};
}

void module_go_on()
{
    line_go_on();
}
