/* The module as the server sees it: its hooks and the life of its state. */
#pragma once

#include "server/lighttpd.h"

/* Fills the entries of the descriptor that the module uses. */
void describe_plugin(plugin *descriptor);
