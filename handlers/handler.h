/* What every request handler looks like.
 *
 * A handler sets the HTTP status itself and returns HANDLER_GO_ON when its
 * answer is ready, with the text in reply_buf and its length in reply_len (0
 * for an answer without a body). Any other result goes to the server as it is:
 * HANDLER_ERROR after a failed read, write or create, with the status set, or
 * what the body decoder returned while the body is still arriving.
 *
 * A handler makes its answer only when its last command is done: while a command
 * waits for its reply, a server may call handlers that send none. */
#pragma once

#include <cstdint>

#include "server/lighttpd.h"
#include "sysmng/plugin_data.h"

using Handler = handler_t(server *srv, connection *con, plugin_data *p);

/* With the number in the request's path. */
using IdHandler = handler_t(server *srv, connection *con, plugin_data *p, int32_t id);
