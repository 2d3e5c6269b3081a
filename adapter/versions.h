/* All that differs between the servers, from 1.4.59 to 1.4.85. LIGHTTPD_PATCH is
 * the last part of the version; the version word will not do, as CMake and
 * Meson write another one than autotools. */
#pragma once

/* The length of a buffer's text got its short name after 1.4.59. */
#if LIGHTTPD_PATCH < 60
#define buffer_clen buffer_string_length
#endif

/* From 1.4.83 on a request's handler is the plugin's data, and no longer its
 * descriptor. And the place in the list of hooks, where the server goes on
 * after a wait, is counted in entries but used in bytes: from its beginning it
 * is right. */
#if LIGHTTPD_PATCH >= 83
#define MODULE_OF(data) ((struct plugin_data_base *)(data))
#define BEFORE_WAITING(request) ((request)->resp_fn_step = 0)
#else
#define MODULE_OF(data) ((data)->self)
#define BEFORE_WAITING(request) ((void)(request))
#endif

/* A registration went by its descriptor once. */
#if LIGHTTPD_PATCH < 69
#define UNREGISTER(events, node) fdevent_unregister(events, (node)->fd)
#else
#define UNREGISTER(events, node) fdevent_unregister(events, node)
#endif

/* The number that mod_status shows under a name. */
#if LIGHTTPD_PATCH < 65
#include "status_counter.h"
#define STATISTIC(name) status_counter_get_counter(name, sizeof(name) - 1)
#else
#include "plugin_config.h"
#define STATISTIC(name) plugin_stats_get_ptr(name, sizeof(name) - 1)
#endif
