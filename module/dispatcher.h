#pragma once

#include "module/routes.h"
#include "server/lighttpd.h"
#include "sysmng/plugin_data.h"

/* The handle_uri_clean hook. The server calls it for every request once the
 * path is decoded, and again from the start whenever more of a body arrives
 * that a handler waits for. HANDLER_GO_ON hands the request back. */
extern "C" EXPORTED handler_t mod_kelto_sysmgmt_handle_uri_clean(server *srv, connection *con,
                                                                 plugin_data *p);

/* What the hook uses of the daemon and the body when it is called with this
 * request, as far as its path and method tell. Without the need for the daemon
 * it may be called while another request waits for a reply: it then leaves
 * alone what that one uses. */
Needs needs_of(const connection *con);

/* Whether the hook answers this path itself, and not the server. */
bool answers_path(const connection *con);
