/* What the module uses of the plugin interface of lighttpd 1.4.51, under the
 * server's own names. Fields that the module never touches are left opaque;
 * layout.def lists the offsets that the rest must have, on 64-bit targets and
 * on 32-bit ARM. `off_t` is 64 bits wide on both.
 */
#pragma once

#include <cstddef>
#include <cstdint>

/* In a hosted build this project supplies the server functions itself. They
 * get symbols of their own, so that they can live in one process with a server
 * that exports other functions under the same names. */
#ifdef KELTO_HOSTED
#define SERVER_FUNCTION(name) __asm__("kelto_hosted_" #name)
#else
#define SERVER_FUNCTION(name)
#endif

/* Everything is hidden in the shared object but what carries this word. */
#define EXPORTED __attribute__((visibility("default")))

namespace layout {
constexpr size_t pick(size_t lp64, size_t ilp32)
{
    return sizeof(void *) == 8 ? lp64 : ilp32;
}
} // namespace layout

constexpr size_t LIGHTTPD_VERSION_ID = 66611;

enum handler_t {
    HANDLER_UNSET,
    HANDLER_GO_ON,
    HANDLER_FINISHED,
    HANDLER_COMEBACK,
    HANDLER_WAIT_FOR_EVENT,
    HANDLER_ERROR,
    HANDLER_WAIT_FOR_FD
};

/* The server has more methods than these: the type holds them all. */
enum http_method_t : int {
    HTTP_METHOD_UNSET = -1,
    HTTP_METHOD_GET,
    HTTP_METHOD_HEAD,
    HTTP_METHOD_POST,
    HTTP_METHOD_PUT,
    HTTP_METHOD_DELETE,
    HTTP_METHOD_CONNECT,
    HTTP_METHOD_OPTIONS
};

enum http_header_e {
    HTTP_HEADER_OTHER = 0,
    HTTP_HEADER_CACHE_CONTROL = 0x4,
    HTTP_HEADER_CONTENT_TYPE = 0x80,
    HTTP_HEADER_LOCATION = 0x20000
};

/* The connection mode in which no plugin has taken the request. */
enum connection_type { DIRECT };

/* `used` counts the terminating NUL; 0 means that nothing was ever stored. */
struct buffer {
    char *ptr;
    size_t used;
    size_t size;
};

/* An array's entry; the module stores nothing but texts, so every entry that it
 * looks up in an array of its own is a data_string. */
struct data_unset {
    buffer *key;
    unsigned char reserved[layout::pick(16, 12)];
};

struct data_string {
    buffer *key;
    unsigned char reserved[layout::pick(16, 12)];
    buffer *value;
};

struct array {
    data_unset **data;
    size_t *sorted;
    size_t used;
    size_t size;
    size_t unique_ndx;
};

/* A piece of a body: bytes in memory, with `offset` at the first that counts,
 * or a temporary file. */
struct chunk {
    enum { MEM_CHUNK, FILE_CHUNK } type;
    buffer *mem;
    struct {
        buffer *name;
        int64_t start;
        int64_t length;
        int fd;
        struct {
            char *start; /* MAP_FAILED while the file is not mapped */
            size_t length;
            int64_t offset;
        } mmap;
        int is_temp;
    } file;
    int64_t offset;
    chunk *next;
};

struct chunkqueue {
    chunk *first;
    chunk *last;
    unsigned char reserved0[2 * sizeof(void *)];
    int64_t bytes_in;
    int64_t bytes_out;
    unsigned char reserved1[sizeof(void *) + 8];
};

struct server;

struct connection {
    unsigned char reserved0[layout::pick(112, 72)];
    int file_finished; /* the response body is whole */
    chunkqueue *write_queue;
    chunkqueue *read_queue;
    chunkqueue *request_content_queue;
    unsigned char reserved1[layout::pick(40, 40)];
    int http_status;
    unsigned char reserved2[layout::pick(148, 132)];
    struct {
        unsigned char reserved0[layout::pick(8, 4)];
        http_method_t http_method;
        unsigned char reserved1[layout::pick(28, 16)];
        array *headers;
        int64_t content_length;
    } request;
    unsigned char reserved3[layout::pick(24, 20)];
    struct {
        unsigned char reserved[layout::pick(8, 4)];
        buffer *path;
    } uri;
    unsigned char reserved4[layout::pick(104, 60)];
    size_t mode; /* DIRECT, or the index of the plugin that answers */
    unsigned char reserved5[layout::pick(248, 188)];
};

struct plugin {
    size_t version;
    buffer *name;
    void *(*init)();
    void *reserved0;
    handler_t (*set_defaults)(server *srv, void *p_d);
    handler_t (*cleanup)(server *srv, void *p_d);
    handler_t (*handle_trigger)(server *srv, void *p_d);
    void *reserved1[3];
    handler_t (*handle_uri_clean)(server *srv, connection *con, void *p_d);
    void *reserved2[10];
    handler_t (*connection_reset)(server *srv, connection *con, void *p_d);
    void *data;
    void *lib;
};

#define LAYOUT_OFFSET(type, field, lp64, ilp32) \
    static_assert(offsetof(type, field) == layout::pick(lp64, ilp32));
#define LAYOUT_SIZE(type, lp64, ilp32) static_assert(sizeof(type) == layout::pick(lp64, ilp32));
#define LAYOUT_VALUE(name, value) static_assert(static_cast<long>(name) == (value));
#include "server/layout.def"

extern "C" {

buffer *buffer_init() SERVER_FUNCTION(buffer_init);
buffer *buffer_init_string(const char *str) SERVER_FUNCTION(buffer_init_string);
void buffer_free(buffer *b) SERVER_FUNCTION(buffer_free);

/* Empties the buffer and gives back storage above some 4 KiB. */
void buffer_reset(buffer *b) SERVER_FUNCTION(buffer_reset);
void buffer_append_string_len(buffer *b, const char *s, size_t s_len)
    SERVER_FUNCTION(buffer_append_string_len);

/* Decodes %XX in place; a decoded control character becomes '_'. */
void buffer_urldecode_path(buffer *url) SERVER_FUNCTION(buffer_urldecode_path);

/* Keys are equal without regard to ASCII case. */
array *array_init() SERVER_FUNCTION(array_init);
void array_free(array *a) SERVER_FUNCTION(array_free);
void array_reset(array *a) SERVER_FUNCTION(array_reset);
void array_set_key_value(array *a, const char *key, size_t key_len, const char *value,
                         size_t val_len) SERVER_FUNCTION(array_set_key_value);
data_unset *array_get_element_klen(const array *a, const char *key, size_t klen)
    SERVER_FUNCTION(array_get_element_klen);

/* Takes the storage out of `mem`, which stays the caller's to free. */
void chunkqueue_append_buffer(chunkqueue *cq, buffer *mem)
    SERVER_FUNCTION(chunkqueue_append_buffer);

handler_t connection_handle_read_post_state(server *srv, connection *con)
    SERVER_FUNCTION(connection_handle_read_post_state);

/* `set` replaces a header, `append` joins to an earlier value with ", ". */
void http_header_response_set(connection *con, http_header_e id, const char *k, size_t klen,
                              const char *v, size_t vlen) SERVER_FUNCTION(http_header_response_set);
void http_header_response_append(connection *con, http_header_e id, const char *k, size_t klen,
                                 const char *v, size_t vlen)
    SERVER_FUNCTION(http_header_response_append);

/* Writes one line. `fmt` has a letter for each item: s text, b buffer, d int. */
int log_error_write(server *srv, const char *filename, unsigned int line, const char *fmt, ...)
    SERVER_FUNCTION(log_error_write);
}
