#include "input/body.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "input/form.h"
#include "input/multipart.h"
#include "input/params.h"
#include "sysmng/wait.h"

namespace {

constexpr const char *label = "parse_query_params";

/* Fixed, unlike other numbers of log lines: filters of the log know them. */
constexpr unsigned open_failed_line = 737, map_failed_line = 745;

struct ContentType {
    bool multipart;
    const char *boundary; /* null when a multipart type names none */
};

/* The header's value, or null. */
const char *request_header(connection *con, const char *name)
{
    data_unset *entry = array_get_element_klen(con->request.headers, name, strlen(name));
    return entry ? reinterpret_cast<data_string *>(entry)->value->ptr : nullptr;
}

/* The boundary is all the rest of the header, quotes and parameters included. */
ContentType content_type_of(connection *con)
{
    constexpr char type[] = "multipart/form-data";
    constexpr char parameter[] = "boundary=";
    const char *value = request_header(con, "Content-Type");
    if (!value || strncasecmp(value, type, sizeof(type) - 1) != 0) return {false, nullptr};
    const char *found = strcasestr(value + sizeof(type) - 1, parameter);
    return {true, found ? found + sizeof(parameter) - 1 : nullptr};
}

/* Maps a temporary file, unless it is mapped already. The server unmaps it when
 * it frees the chunk. */
bool map_file(server *srv, chunk *c)
{
    if (c->file.mmap.start != MAP_FAILED) return true;
    if (c->file.fd == -1) {
        c->file.fd = open(c->file.name->ptr, O_RDONLY | O_CLOEXEC);
        if (c->file.fd == -1) {
            log_error_write(srv, label, open_failed_line, "ss", "open failed: ", strerror(errno));
            return false;
        }
    }
    c->file.mmap.length = static_cast<size_t>(c->file.length);
    c->file.mmap.start = static_cast<char *>(
        mmap(nullptr, c->file.mmap.length, PROT_READ, MAP_SHARED, c->file.fd, 0));
    if (c->file.mmap.start == MAP_FAILED) {
        log_error_write(srv, label, map_failed_line, "ssbd", "mmap failed: ", strerror(errno),
                        c->file.name, c->file.fd);
        return false;
    }
    close(c->file.fd);
    c->file.fd = -1;
    return true;
}

/* A memory chunk's bytes of the body. */
Span body_bytes(const chunk *c)
{
    const size_t used = c->mem->used > 0 ? c->mem->used - 1 : 0;
    const size_t offset = static_cast<size_t>(c->offset);
    return offset < used ? Span{c->mem->ptr + offset, used - offset} : Span{"", 0};
}

/* The text after the request headers, if there are any before the first NUL. */
Span skip_headers(Span text)
{
    const Span before_nul = up_to(text, '\0');
    const Span line =
        up_to(before_nul, '\r'); /* few forms have a line end, so this search is quicker */
    const char *found = find(rest_of(before_nul, line.length), span_of("\r\n\r\n"));
    return found ? rest_of(text, static_cast<size_t>(found - text.data) + 4) : text;
}

/* The form in the memory chunks. A single chunk is used in place; several are
 * copied to `joined`, because a pair can be split between two of them. A first
 * chunk without an offset can begin with the request headers. */
Span join_form(chunk *first, buffer *joined)
{
    Span form = {nullptr, 0};
    for (chunk *c = first; c; c = c->next) {
        if (c->type != chunk::MEM_CHUNK) continue;
        Span bytes = body_bytes(c);
        if (c == first && c->offset == 0) bytes = skip_headers(bytes);
        if (form.length == 0) {
            form = bytes;
            continue;
        }
        if (joined->used == 0) buffer_append_string_len(joined, form.data, form.length);
        if (joined->used > MOST_PARAMETER_BYTES) break;
        buffer_append_string_len(joined, bytes.data, bytes.length);
        form = {joined->ptr, joined->used - 1};
    }
    return form;
}

/* The form, cut at the end of a pair where it is too long. */
Span bounded(Span form)
{
    if (form.length <= MOST_PARAMETER_BYTES) return form;
    const void *end = memrchr(form.data, '&', MOST_PARAMETER_BYTES);
    return {form.data, end ? static_cast<size_t>(static_cast<const char *>(end) - form.data) : 0};
}

void report_dropped(server *srv)
{
    log_error_write(srv, label, __LINE__, "s", "Dropped what exceeds the limits of a form");
}

/* URL-encoded pairs. Chunks in files are mapped, but not decoded. */
handler_t decode_form_body(server *srv, chunk *first, plugin_data *p)
{
    for (chunk *c = first; c; c = c->next) {
        if (c->type == chunk::FILE_CHUNK && !map_file(srv, c)) return HANDLER_ERROR;
    }
    const Span form = join_form(first, p->tmp_buf);
    if (!form.data) return HANDLER_GO_ON;
    const Span pairs = bounded(form);
    const buffer content = {const_cast<char *>(pairs.data), pairs.length + 1, 0};
    const bool all_stored = parse_urlencoded_chunk(&content, p->params) == 0;
    if (!all_stored || pairs.length < form.length) report_dropped(srv);
    return HANDLER_GO_ON;
}

/* A file can be large and the disk slow: other work is done between two pieces. */
constexpr size_t piece_bytes = 256 * 1024;

/* False when nobody wants the body any more. */
bool parse_file(server *srv, const chunk *c, array *params, multipart_parser &parser)
{
    const char *data = c->file.mmap.start;
    for (size_t left = c->file.mmap.length; left > 0;) {
        const size_t length = left < piece_bytes ? left : piece_bytes;
        parse_multipart_chunk(srv, data, length, params, &parser);
        data += length;
        left -= length;
        if ((left > 0 || c->next) && !give_way()) return false;
    }
    return true;
}

/* A multipart form. Without a boundary its parts cannot be found, and there are
 * no parameters. */
handler_t decode_multipart_body(server *srv, chunk *first, plugin_data *p, const char *boundary)
{
    multipart_parser parser;
    if (!boundary || !multipart_parser_init(&parser, boundary)) return HANDLER_GO_ON;
    parser.field = p->tmp_buf;
    parser.may_have_headers = first->type == chunk::MEM_CHUNK && first->offset == 0;
    handler_t result = HANDLER_GO_ON;
    for (chunk *c = first; c && result == HANDLER_GO_ON; c = c->next) {
        if (c->type == chunk::MEM_CHUNK) {
            const Span bytes = body_bytes(c);
            parse_multipart_chunk(srv, bytes.data, bytes.length, p->params, &parser);
        } else if (!map_file(srv, c) || !parse_file(srv, c, p->params, parser)) {
            result = HANDLER_ERROR;
        } else {
            /* The server unmaps the file at the end of the request. Until then its pages would
             * count as the server's memory. */
            madvise(c->file.mmap.start, c->file.mmap.length, MADV_DONTNEED);
        }
    }
    multipart_parser_finish(&parser, result == HANDLER_GO_ON);
    if (parser.dropped) report_dropped(srv);
    return result;
}

} // namespace

handler_t parse_query_params(server *srv, connection *con, plugin_data *p)
{
    const ContentType type = content_type_of(con);
    chunkqueue *queue = con->request_content_queue;
    if (queue->bytes_in != con->request.content_length) {
        const handler_t read = connection_handle_read_post_state(srv, con);
        if (read != HANDLER_GO_ON) return read;
        /* A server that streams request bodies calls the module before their end. */
        if (queue->bytes_in != con->request.content_length) return HANDLER_WAIT_FOR_EVENT;
    }
    if (con->request.content_length == 0) return HANDLER_GO_ON;
    buffer_reset(p->tmp_buf);
    const handler_t result = type.multipart
                                 ? decode_multipart_body(srv, queue->first, p, type.boundary)
                                 : decode_form_body(srv, queue->first, p);
    buffer_reset(p->tmp_buf);
    return result;
}

void release_giant_form(const connection *con, plugin_data *p)
{
    constexpr int64_t usual_bytes = 16 * 1024;
    constexpr size_t usual_parameters = 128;
    if (con->request.content_length <= usual_bytes && p->params->used <= usual_parameters) return;
    array *fresh = array_init();
    if (!fresh) return;
    array_free(p->params);
    p->params = fresh;
}
