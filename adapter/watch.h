/* server_watch of bridge.h, by the event loop of a current server. */
#pragma once

struct server;

void watch_begin(struct server *srv);

/* Takes everything out of the event loop, before the daemon's descriptor is
 * closed. Nothing can be watched afterwards. */
void watch_end(void);
