#include "input/body.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "input/form.h"
#include "input/multipart.h"

namespace {

constexpr const char *label = "parse_query_params";

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

/* Maps a temporary file where it is not mapped yet. The mapping stays in the
 * chunk, where the server finds it when it releases the chunk. */
bool map_file(server *srv, chunk *c)
{
    if (c->file.mmap.start != MAP_FAILED) return true;
    if (c->file.fd == -1) {
        c->file.fd = open(c->file.name->ptr, O_RDONLY | O_CLOEXEC);
        if (c->file.fd == -1) {
            log_error_write(srv, label, 737, "ss", "open failed: ", strerror(errno));
            return false;
        }
    }
    c->file.mmap.length = static_cast<size_t>(c->file.length);
    c->file.mmap.start = static_cast<char *>(
        mmap(nullptr, c->file.mmap.length, PROT_READ, MAP_SHARED, c->file.fd, 0));
    if (c->file.mmap.start == MAP_FAILED) {
        log_error_write(srv, label, 745, "ssbd", "mmap failed: ", strerror(errno), c->file.name,
                        c->file.fd);
        return false;
    }
    close(c->file.fd);
    c->file.fd = -1;
    return true;
}

/* URL-encoded pairs. What the server keeps in files is mapped and left. */
handler_t decode_form_body(server *srv, chunk *first, plugin_data *p)
{
    for (chunk *c = first; c; c = c->next) {
        if (c->type == chunk::FILE_CHUNK) {
            if (!map_file(srv, c)) return HANDLER_ERROR;
        } else {
            parse_urlencoded_chunk(c, c == first, p->params, p->tmp_buf);
        }
    }
    finish_urlencoded(p->params, p->tmp_buf);
    return HANDLER_GO_ON;
}

/* A multipart form. Without a boundary nothing can be told apart: the body
 * yields no parameters. Only a chunk whose offset does not say where the body
 * starts can hold request headers. */
handler_t decode_multipart_body(server *srv, chunk *first, plugin_data *p, const char *boundary)
{
    multipart_parser parser;
    if (!boundary || !multipart_parser_init(&parser, srv, p->params, p->tmp_buf, boundary))
        return HANDLER_GO_ON;
    handler_t result = HANDLER_GO_ON;
    for (chunk *c = first; c && result == HANDLER_GO_ON; c = c->next) {
        if (c->type == chunk::MEM_CHUNK) {
            const size_t used = c->mem->used > 0 ? c->mem->used - 1 : 0;
            const size_t offset = static_cast<size_t>(c->offset);
            if (offset < used)
                parse_multipart_chunk(&parser, c->mem->ptr + offset, used - offset,
                                      c == first && offset == 0);
        } else if (map_file(srv, c)) {
            parse_multipart_chunk(&parser, c->file.mmap.start, c->file.mmap.length, false);
            /* The mapping stays, its pages must not: there are as many as the upload has. */
            madvise(c->file.mmap.start, c->file.mmap.length, MADV_DONTNEED);
        } else {
            result = HANDLER_ERROR;
        }
    }
    multipart_parser_finish(&parser, result == HANDLER_GO_ON);
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
    }
    if (con->request.content_length == 0) return HANDLER_GO_ON;
    buffer_reset(p->tmp_buf);
    return type.multipart ? decode_multipart_body(srv, queue->first, p, type.boundary)
                          : decode_form_body(srv, queue->first, p);
}
