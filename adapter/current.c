/* The module as a plugin of a current server. */
#include <stdlib.h>
#include <unistd.h>

#include "base.h"
#include "buffer.h"
#include "chunk.h"
#include "connections.h"
#include "fdevent.h"
#include "http_header.h"
#include "log.h"
#include "plugin.h"
#include "request.h"

#include "adapter/bridge.h"
#include "adapter/versions.h"
#include "adapter/watch.h"

/* What mod_status shows of the module. */
typedef struct {
    int *sent, *failed, *timed_out, *waiting, *longest_wait;
} statistics;

typedef struct {
    PLUGIN_DATA;
    void *state; /* the module's */
    statistics shown;
} plugin_data;

static server *srv; /* of the process */

static handler_t current_result(int stock)
{
    switch (stock) {
        case STOCK_HANDLER_GO_ON: return HANDLER_GO_ON;
        case STOCK_HANDLER_FINISHED: return HANDLER_FINISHED;
        case STOCK_HANDLER_COMEBACK: return HANDLER_COMEBACK;
        case STOCK_HANDLER_WAIT_FOR_EVENT: return HANDLER_WAIT_FOR_EVENT;
        default: return HANDLER_ERROR;
    }
}

static int stock_method(http_method_t current)
{
    switch (current) {
        case HTTP_METHOD_GET: return STOCK_HTTP_METHOD_GET;
        case HTTP_METHOD_HEAD: return STOCK_HTTP_METHOD_HEAD;
        case HTTP_METHOD_POST: return STOCK_HTTP_METHOD_POST;
        case HTTP_METHOD_PUT: return STOCK_HTTP_METHOD_PUT;
        case HTTP_METHOD_DELETE: return STOCK_HTTP_METHOD_DELETE;
        case HTTP_METHOD_CONNECT: return STOCK_HTTP_METHOD_CONNECT;
        case HTTP_METHOD_OPTIONS: return STOCK_HTTP_METHOD_OPTIONS;
        default: return -1;
    }
}

static struct stock_text text_of(const buffer *b)
{
    return (struct stock_text){b->ptr, buffer_clen(b)};
}

static void hand_over_chunk(struct module_request *m, const chunk *c)
{
    if (c->type == MEM_CHUNK) {
        module_append_memory(m, text_of(c->mem), (size_t)c->offset);
    } else {
        /* The module closes the descriptor that it maps. */
        const int fd = c->file.fd >= 0 ? dup(c->file.fd) : -1;
        module_append_file(m, text_of(c->mem), c->file.length, fd);
    }
}

static int body_is_whole(const request_st *r)
{
    return r->reqbody_queue.bytes_in == r->reqbody_length;
}

/* Before the body is complete the module has no use for its pieces. */
static void hand_over_body(struct module_request *m, const request_st *r)
{
    module_set_body_length(m, r->reqbody_length);
    if (!body_is_whole(r)) return;
    for (const chunk *c = r->reqbody_queue.first; c; c = c->next) hand_over_chunk(m, c);
}

/* With what other plugins have set, so that the module's appending joins. */
static void hand_over_headers(struct module_request *m, const request_st *r)
{
    const buffer *type =
        http_header_request_get(r, HTTP_HEADER_CONTENT_TYPE, CONST_STR_LEN("Content-Type"));
    if (type) {
        module_add_request_header(m, (struct stock_text){CONST_STR_LEN("Content-Type")},
                                  text_of(type));
    }
    for (uint32_t i = 0; i < r->resp_headers.used; ++i) {
        const data_string *header = (const data_string *)r->resp_headers.data[i];
        module_add_response_header(m, text_of(&header->key), text_of(&header->value));
    }
}

/* Reads what has come of the body. The server is to gather it whole: where it
 * is set to stream bodies it goes on before their end, and over HTTP/2 lets no
 * more come than is taken. */
static handler_t read_body(request_st *r)
{
    const unsigned streaming = FDEVENT_STREAM_REQUEST | FDEVENT_STREAM_REQUEST_BUFMIN;
    r->conf.stream_request_body &= (unsigned short)~streaming;
    const handler_t result = r->con->reqbody_read(r);
    return result == HANDLER_GO_ON && !body_is_whole(r) ? HANDLER_WAIT_FOR_EVENT : result;
}

void server_set_header(void *request, struct stock_text name, struct stock_text value)
{
    const uint32_t length = (uint32_t)name.length;
    http_header_response_set(request, http_header_hkey_get(name.data, length), name.data, length,
                             value.data, (uint32_t)value.length);
}

void server_append_body(void *request, struct stock_text bytes)
{
    request_st *r = request;
    chunkqueue_append_mem(&r->write_queue, bytes.data, bytes.length);
}

/* The items come escaped, and pass the server's own escaping unchanged. */
void server_write_log(void *request, const char *label, unsigned line, const char *text)
{
    const request_st *r = request;
    log_error(r ? r->conf.errh : srv->errh, label, line, "%s", text);
}

static void show_statistics(plugin_data *p)
{
    const struct module_statistics now = module_get_statistics();
    *p->shown.sent = (int)now.commands_sent;
    *p->shown.failed = (int)now.commands_failed;
    *p->shown.timed_out = (int)now.commands_timed_out;
    *p->shown.waiting = (int)now.requests_waiting;
    *p->shown.longest_wait = (int)now.longest_wait_ms;
}

static void forget_request(request_st *r, plugin_data *p)
{
    module_request_free(r->plugin_ctx[p->id]);
    r->plugin_ctx[p->id] = NULL;
    show_statistics(p);
}

static void take_path(request_st *r, struct stock_text path)
{
    if (!buffer_eq_slen(&r->uri.path, path.data, path.length)) {
        buffer_copy_string_len(&r->uri.path, path.data, path.length);
    }
}

/* A failure with a status is an answer here: a 1.4.51 would close the
 * connection without one. And the answer stays whole, as there: no ranges are
 * cut out of it. */
static handler_t take_answer(request_st *r, plugin_data *p, struct module_request *m)
{
    const struct stock_answer answer = module_answer(m);
    const int failed = answer.result == STOCK_HANDLER_ERROR && answer.status != 0;
    take_path(r, answer.path);
    if (answer.status != 0) r->http_status = answer.status;
    if (answer.taken || failed) r->handler_module = MODULE_OF(p);
    if (answer.finished || failed) {
        r->resp_body_finished = 1;
        r->conf.range_requests = 0;
    }
    module_request_free(m);
    r->plugin_ctx[p->id] = NULL;
    return failed ? HANDLER_FINISHED : current_result(answer.result);
}

/* The body is there before the request has its turn with the daemon: a client
 * that is slow to send it holds up nobody else. And many HTTP/2 clients take an
 * answer that comes before the end of their body for a broken stream, so there
 * the body is read first, wanted or not. */
static int awaits_body(const request_st *r, const struct module_request *m)
{
    if (body_is_whole(r)) return 0;
    return module_needs_body(m) || (r->http_version > HTTP_VERSION_1_1 && module_answers_path(m));
}

/* The server asks this plugin again when the client does something, and starts
 * anew with all plugins when the answer is there. A client that closes its
 * connection shows only where it is asked for. */
static handler_t wait_for_answer(request_st *r, plugin_data *p, struct module_request *m)
{
    r->plugin_ctx[p->id] = m;
    r->handler_module = MODULE_OF(p);
    if (r->http_version <= HTTP_VERSION_1_1) {
        fdevent_fdnode_event_add(srv->ev, r->con->fdn, FDEVENT_RDHUP);
    }
    return HANDLER_WAIT_FOR_EVENT;
}

static handler_t begin_request(request_st *r, plugin_data *p)
{
    struct module_request *m =
        module_request_new(r, stock_method(r->http_method), text_of(&r->uri.path));
    if (!m) return HANDLER_ERROR;
    if (awaits_body(r, m)) {
        const handler_t arrived = read_body(r);
        if (arrived != HANDLER_GO_ON) {
            module_request_free(m);
            return arrived;
        }
    }
    hand_over_headers(m, r);
    hand_over_body(m, r);
    return module_handle(m) ? take_answer(r, p, m) : wait_for_answer(r, p, m);
}

/* Called again from the start while a body arrives, when nothing is kept
 * between the calls, and when an answer that had to be waited for is there. */
static handler_t handle_uri_clean(request_st *r, void *p_d)
{
    plugin_data *p = p_d;
    struct module_request *m = r->plugin_ctx[p->id];
    if (r->handler_module) return HANDLER_GO_ON;
    const handler_t result = m ? take_answer(r, p, m) : begin_request(r, p);
    if (result == HANDLER_WAIT_FOR_EVENT) BEFORE_WAITING(r);
    show_statistics(p);
    return result;
}

/* Called while a request waits, when something happened to its connection. A
 * client that has closed its side before it was its turn is taken to have gone:
 * its command is not sent any more. */
static handler_t handle_subrequest(request_st *r, void *p_d)
{
    plugin_data *p = p_d;
    struct module_request *m = r->plugin_ctx[p->id];
    const int closed = r->conf.stream_request_body & FDEVENT_STREAM_REQUEST_TCP_FIN;
    if (!m || !closed || !module_is_in_line(m)) return HANDLER_WAIT_FOR_EVENT;
    forget_request(r, p);
    r->handler_module = NULL;
    r->http_status = 503;
    return HANDLER_FINISHED;
}

void server_wake(void *request)
{
    request_st *r = request;
    r->handler_module = NULL;
    joblist_append(r->con);
}

static handler_t handle_request_reset(request_st *r, void *p_d)
{
    plugin_data *p = p_d;
    if (r->plugin_ctx[p->id]) forget_request(r, p);
    return HANDLER_GO_ON;
}

static handler_t handle_trigger(server *s, void *p_d)
{
    plugin_data *p = p_d;
    (void)s;
    show_statistics(p);
    return current_result(module_handle_trigger(p->state));
}

static handler_t set_defaults(server *s, void *p_d)
{
    plugin_data *p = p_d;
    srv = s;
    watch_begin(s);
    if (srv->srvconf.max_worker > 1) {
        log_error(srv->errh, "mod_kelto_sysmgmt", __LINE__,
                  "mod_kelto_sysmgmt needs server.max-worker = 0 or 1: workers would share the "
                  "connection to the daemon and take each other's replies");
        return HANDLER_ERROR;
    }
    p->shown = (statistics){.sent = STATISTIC("kelto_sysmgmt.commands-sent"),
                            .failed = STATISTIC("kelto_sysmgmt.commands-failed"),
                            .timed_out = STATISTIC("kelto_sysmgmt.commands-timed-out"),
                            .waiting = STATISTIC("kelto_sysmgmt.requests-waiting"),
                            .longest_wait = STATISTIC("kelto_sysmgmt.longest-wait-ms")};
    return current_result(module_set_defaults(p->state));
}

static void *init(void)
{
    plugin_data *p = calloc(1, sizeof(*p));
    if (p && !(p->state = module_init())) {
        free(p);
        return NULL;
    }
    return p;
}

/* The server frees p_d itself. */
static void cleanup(void *p_d)
{
    watch_end();
    module_cleanup(((plugin_data *)p_d)->state);
}

__attribute__((visibility("default"))) int mod_kelto_sysmgmt_plugin_init(plugin *p);

int mod_kelto_sysmgmt_plugin_init(plugin *p)
{
    p->version = LIGHTTPD_VERSION_ID;
    p->name = "kelto_sysmgmt";
    p->init = init;
    p->set_defaults = set_defaults;
    p->cleanup = cleanup;
    p->handle_trigger = handle_trigger;
    p->handle_uri_clean = handle_uri_clean;
    p->handle_subrequest = handle_subrequest;
    p->handle_request_reset = handle_request_reset;
    return 0;
}
