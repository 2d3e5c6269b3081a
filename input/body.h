/* The request body, decoded into the form parameters. */
#pragma once

#include "server/lighttpd.h"
#include "sysmng/plugin_data.h"

/* Decodes the body by its Content-Type: a multipart form, whose files go to
 * the upload directory, or else URL-encoded pairs. The caller empties `params`
 * first. Returns HANDLER_GO_ON when the whole body was there and is decoded;
 * any other value, for example while it is still arriving, is for the server:
 * the handler returns it at once and is called again from its start. */
handler_t parse_query_params(server *srv, connection *con, plugin_data *p);

/* Call it when the request is over: frees the memory of an unusually large
 * form. */
void release_giant_form(const connection *con, plugin_data *p);
