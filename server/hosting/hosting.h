/* The server functions of server/lighttpd.h without a server, and connections
 * to call the module with: for its tests, its benchmarks and the adapter.
 *
 * The functions behave as the server's own do. When memory runs out,
 * buffer_init, buffer_init_string and array_init return null; everything else
 * ends the process, as it does in the server.
 *
 * One thread. A connection that is reset and used again keeps its storage, so
 * that small requests cost no allocation. */
#pragma once

#include <string_view>

#include "server/lighttpd.h"

/* A connection in direct mode, with a GET of the empty path, no headers and no
 * body. Null when memory runs out. All hosted_ functions take only connections
 * made here. */
connection *hosted_connection_new();
void hosted_connection_free(connection *con);

/* As it was when new. Files of the body are unmapped and closed. */
void hosted_connection_reset(connection *con);

void hosted_set_path(connection *con, std::string_view path);
void hosted_add_request_header(connection *con, std::string_view name, std::string_view value);

/* Append to the request's body, and count in bytes_in. The content length is
 * the caller's to set. */

/* Memory of which the first `offset` bytes are not of the body. It is used in
 * place: `bytes` has a NUL after it and must outlive the body. */
void hosted_append_memory_view(connection *con, std::string_view bytes, size_t offset = 0);

/* A file of `length` bytes. An open `fd` now belongs to the connection; with
 * -1 the module opens the file by its name. */
void hosted_append_file(connection *con, std::string_view name, int64_t length, int fd = -1);

void hosted_clear_body(connection *con);

/* What connection_handle_read_post_state does: a callback that may append to
 * the body and whose result is returned. Without one, the result is
 * HANDLER_GO_ON when the body is complete and HANDLER_WAIT_FOR_EVENT while it
 * is not. */
using ReadBody = handler_t(server *srv, connection *con, void *context);
void hosted_on_read_body(connection *con, ReadBody *callback, void *context);

/* The answer. Headers are in the order of creation; one with an
 * empty value is not sent. Null when there is no such header. */
array *hosted_response_headers(connection *con);
const char *hosted_response_header(connection *con, std::string_view name);

/* The queued response body, joined to one piece; valid until the connection is
 * used again. */
std::string_view hosted_response_body(connection *con);

/* Where log_error_write goes: to a function, one call a line, which gets the
 * items in `text`, escaped, each with a blank after it. Without one, nowhere. */
using LogSink = void(server *srv, const char *label, unsigned line, const char *text);
void hosted_log_to(LogSink *sink);
