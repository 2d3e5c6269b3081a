#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "server/hosting/hosting.h"
#include "server/hosting/memory.h"

namespace {

/* A chunk with the buffers that it points to. */
struct HostedChunk {
    chunk shown; /* first, as in every structure here: the module sees its address */
    buffer mem;
    buffer name;
};

struct HostedQueue {
    chunkqueue shown;
    chunk *unused; /* kept for the next request */
};

struct HostedConnection {
    connection shown;
    HostedQueue write_queue;
    HostedQueue body;
    buffer path;
    array *response_headers;
    ReadBody *read_body;
    void *read_context;
};

HostedConnection *hosted(connection *con)
{
    return reinterpret_cast<HostedConnection *>(con);
}

HostedQueue *hosted(chunkqueue *queue)
{
    return reinterpret_cast<HostedQueue *>(queue);
}

/* A buffer of size 0 points to memory that it does not own. */
void empty(buffer &b)
{
    if (b.size == 0) b.ptr = nullptr;
    buffer_reset(&b);
}

/* Unmaps and closes the chunk's file. */
void release_file(chunk *c)
{
    if (c->file.mmap.start && c->file.mmap.start != MAP_FAILED) {
        munmap(c->file.mmap.start, c->file.mmap.length);
    }
    if (c->file.fd != -1) close(c->file.fd);
    c->file.fd = -1;
    c->file.mmap.start = static_cast<char *>(MAP_FAILED);
    c->file.mmap.length = 0;
    c->file.length = 0;
}

chunk *new_chunk()
{
    HostedChunk *made = static_cast<HostedChunk *>(need(sizeof(HostedChunk)));
    memset(made, 0, sizeof(*made));
    made->shown.mem = &made->mem;
    made->shown.file.name = &made->name;
    made->shown.file.fd = -1;
    made->shown.file.mmap.start = static_cast<char *>(MAP_FAILED);
    return &made->shown;
}

void free_chunk(chunk *c)
{
    free(c->mem->ptr);
    free(c->file.name->ptr);
    free(c);
}

chunk *unused_chunk(HostedQueue *queue)
{
    chunk *c = queue->unused;
    if (!c) return new_chunk();
    queue->unused = c->next;
    c->next = nullptr;
    return c;
}

void append(HostedQueue *queue, chunk *c, int64_t length)
{
    chunkqueue &shown = queue->shown;
    (shown.last ? shown.last->next : shown.first) = c;
    shown.last = c;
    shown.bytes_in += length;
}

void put_aside(HostedQueue *queue, chunk *c)
{
    release_file(c);
    empty(*c->mem);
    empty(*c->file.name);
    c->offset = 0;
    c->next = queue->unused;
    queue->unused = c;
}

void clear(HostedQueue *queue)
{
    for (chunk *c = queue->shown.first; c;) {
        chunk *next = c->next;
        put_aside(queue, c);
        c = next;
    }
    queue->shown = {};
}

void free_all(HostedQueue *queue)
{
    clear(queue);
    for (chunk *c = queue->unused; c;) {
        chunk *next = c->next;
        free_chunk(c);
        c = next;
    }
}

} // namespace

connection *hosted_connection_new()
{
    HostedConnection *made = static_cast<HostedConnection *>(calloc(1, sizeof(HostedConnection)));
    if (!made) return nullptr;
    made->shown.request.headers = array_init();
    made->response_headers = array_init();
    if (!made->shown.request.headers || !made->response_headers) {
        array_free(made->shown.request.headers);
        array_free(made->response_headers);
        free(made);
        return nullptr;
    }
    made->shown.write_queue = &made->write_queue.shown;
    made->shown.request_content_queue = &made->body.shown;
    made->shown.uri.path = &made->path;
    return &made->shown;
}

void hosted_connection_free(connection *con)
{
    if (!con) return;
    HostedConnection *whole = hosted(con);
    free_all(&whole->write_queue);
    free_all(&whole->body);
    array_free(con->request.headers);
    array_free(whole->response_headers);
    free(whole->path.ptr);
    free(whole);
}

void hosted_connection_reset(connection *con)
{
    HostedConnection *whole = hosted(con);
    clear(&whole->write_queue);
    clear(&whole->body);
    array_reset(con->request.headers);
    array_reset(whole->response_headers);
    buffer_reset(&whole->path);
    hosted_on_read_body(con, nullptr, nullptr);
    con->file_finished = 0;
    con->http_status = 0;
    con->mode = DIRECT;
    con->request.http_method = HTTP_METHOD_GET;
    con->request.content_length = 0;
}

void hosted_set_path(connection *con, std::string_view path)
{
    assign(hosted(con)->path, path);
}

void hosted_add_request_header(connection *con, std::string_view name, std::string_view value)
{
    array_set_key_value(con->request.headers, name.data(), name.size(), value.data(), value.size());
}

void hosted_append_memory_view(connection *con, std::string_view bytes, size_t offset)
{
    HostedQueue *queue = &hosted(con)->body;
    chunk *c = unused_chunk(queue);
    c->type = chunk::MEM_CHUNK;
    c->offset = static_cast<int64_t>(offset);
    append(queue, c, static_cast<int64_t>(bytes.size() - offset));
    free(c->mem->ptr);
    *c->mem = {const_cast<char *>(bytes.data()), bytes.size() + 1, 0};
}

void hosted_append_file(connection *con, std::string_view name, int64_t length, int fd)
{
    HostedQueue *queue = &hosted(con)->body;
    chunk *c = unused_chunk(queue);
    c->type = chunk::FILE_CHUNK;
    assign(*c->file.name, name);
    c->file.length = length;
    c->file.fd = fd;
    append(queue, c, length);
}

void hosted_clear_body(connection *con)
{
    clear(&hosted(con)->body);
}

void hosted_on_read_body(connection *con, ReadBody *callback, void *context)
{
    hosted(con)->read_body = callback;
    hosted(con)->read_context = context;
}

array *hosted_response_headers(connection *con)
{
    return hosted(con)->response_headers;
}

const char *hosted_response_header(connection *con, std::string_view name)
{
    data_unset *entry =
        array_get_element_klen(hosted(con)->response_headers, name.data(), name.size());
    return entry ? reinterpret_cast<data_string *>(entry)->value->ptr : nullptr;
}

std::string_view hosted_response_body(connection *con)
{
    chunkqueue &queue = hosted(con)->write_queue.shown;
    if (!queue.first) return {};
    while (chunk *second = queue.first->next) {
        buffer_append_string_len(queue.first->mem, second->mem->ptr, second->mem->used - 1);
        queue.first->next = second->next;
        put_aside(&hosted(con)->write_queue, second);
    }
    queue.last = queue.first;
    return text_of(*queue.first->mem);
}

void chunkqueue_append_buffer(chunkqueue *cq, buffer *mem)
{
    if (mem->used < 2) return;
    chunk *c = unused_chunk(hosted(cq));
    c->type = chunk::MEM_CHUNK;
    const buffer spare = *c->mem;
    *c->mem = *mem;
    *mem = spare;
    append(hosted(cq), c, static_cast<int64_t>(c->mem->used - 1));
}

handler_t connection_handle_read_post_state(server *srv, connection *con)
{
    const HostedConnection *whole = hosted(con);
    if (whole->read_body) return whole->read_body(srv, con, whole->read_context);
    return con->request_content_queue->bytes_in == con->request.content_length
               ? HANDLER_GO_ON
               : HANDLER_WAIT_FOR_EVENT;
}

void http_header_response_set(connection *con, http_header_e, const char *k, size_t klen,
                              const char *v, size_t vlen)
{
    array_set_key_value(hosted(con)->response_headers, k, klen, v, vlen);
}

void http_header_response_append(connection *con, http_header_e, const char *k, size_t klen,
                                 const char *v, size_t vlen)
{
    if (vlen == 0) return;
    array *headers = hosted(con)->response_headers;
    data_unset *entry = array_get_element_klen(headers, k, klen);
    if (!entry) {
        array_set_key_value(headers, k, klen, v, vlen);
        return;
    }
    buffer *value = reinterpret_cast<data_string *>(entry)->value;
    buffer_append_string_len(value, ", ", 2);
    buffer_append_string_len(value, v, vlen);
}
