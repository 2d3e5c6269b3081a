#pragma once

#include "server/lighttpd.h"
#include "sysmng/plugin_data.h"

/* The handle_uri_clean hook. The server calls it for every request once the
 * path is decoded, and again from the start whenever more of a body arrives
 * that a handler waits for. HANDLER_GO_ON hands the request back. */
extern "C" EXPORTED handler_t mod_kelto_sysmgmt_handle_uri_clean(server *srv, connection *con,
                                                                 plugin_data *p);
