/* The route table: which handler answers which path and method. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "handlers/handler.h"
#include "server/lighttpd.h"

/* One method of a route, with a handler for it. */
struct Action {
    http_method_t method;
    Handler *handler;
    IdHandler *id_handler; /* on the routes whose path holds an identifier */

    constexpr Action() : method(HTTP_METHOD_UNSET), handler(nullptr), id_handler(nullptr) {}
    constexpr Action(http_method_t m, Handler *h) : method(m), handler(h), id_handler(nullptr) {}
    constexpr Action(http_method_t m, IdHandler *h) : method(m), handler(nullptr), id_handler(h) {}
};

struct Route {
    std::string_view path; /* exact, or a regular expression whose group 1 is the identifier */
    const char *allow;     /* the "Allow" header of a 405 */
    Action actions[3];
};

/* Regular expressions begin with '^'. */
extern const Route routes[];
extern const size_t route_count;

struct RouteMatch {
    const Route *route; /* null when no route has the path */
    int32_t id;
};

/* Finds the route of `path`. The regular expressions are compiled on the first
 * call and kept; one that cannot be compiled matches nothing. */
RouteMatch find_route(const char *path);

/* Null when the route does not accept the method. */
const Action *find_action(const Route &route, http_method_t method);
