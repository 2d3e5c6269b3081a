/* Versioned user-interface paths. Every page of the interface is reached under
 * "/v" and the software version, so that no browser keeps a stale one. */
#pragma once

#include "server/lighttpd.h"
#include "sysmng/plugin_data.h"

/* Asks the daemon for the software version, once for the life of the process.
 * When it does not answer, a tag is made of the date. */
void get_current_version(server *srv, plugin_data *p);

/* Whether it has been asked for. */
bool version_known();

/* 1 when `text` begins with `prefix`, else 0. */
int starts_with(const char *prefix, const char *text);

/* Answers with a 307 to "/v", the version and `rest`. */
void do_redirect(server *srv, connection *con, const char *rest);

enum class PathRule {
    Route,   /* for the route table */
    Serve,   /* the current version's prefix was taken off: the server's */
    Redirect /* answered */
};

/* What becomes of `path`, the request path without its trailing slash. While
 * the version is not known, everything under "/v" is the server's. */
PathRule path_rule(const char *path);

/* Asks for the version where it is not known, and does what the rule says. */
PathRule apply_path_rules(server *srv, connection *con, plugin_data *p, const char *path);
