#pragma once

#include <cstdint>

#include "reply/record.h"
#include "server/lighttpd.h"
#include "sysmng/plugin_data.h"

/* Renders the last reply, a list of `count` records, into reply_buf, one object
 * a line. The buffer grows as needed, by one step at the most for each record;
 * `handler_name` labels the log line about it. False when it cannot grow. */
bool render_list(server *srv, plugin_data *p, const Record &record, uint32_t count,
                 const char *handler_name);
