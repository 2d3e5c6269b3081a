/* The route table: which handler answers which path and method. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "handlers/handler.h"
#include "server/lighttpd.h"

/* What a handler uses besides the request's head: what a server that serves
 * several requests at a time has to know before it calls one. */
enum class Needs : uint8_t {
    Nothing,
    Daemon, /* it sends commands */
    Form    /* it decodes the whole body, and then sends commands */
};

constexpr Needs usual_needs(http_method_t method)
{
    return method == HTTP_METHOD_PUT || method == HTTP_METHOD_POST ? Needs::Form : Needs::Daemon;
}

/* One method of a route, with a handler for it. */
struct Action {
    http_method_t method = HTTP_METHOD_UNSET;
    Handler *handler = nullptr;
    IdHandler *id_handler = nullptr; /* on the routes whose path holds an identifier */
    Needs needs = Needs::Nothing;

    constexpr Action() = default;
    constexpr Action(http_method_t m, Handler *h) : Action(m, h, usual_needs(m)) {}
    constexpr Action(http_method_t m, Handler *h, Needs n) : method(m), handler(h), needs(n) {}
    constexpr Action(http_method_t m, IdHandler *h) : Action(m, h, usual_needs(m)) {}
    constexpr Action(http_method_t m, IdHandler *h, Needs n) : method(m), id_handler(h), needs(n) {}
};

struct Route {
    std::string_view
        path;          /* exact, or a regular expression for those that end with an identifier */
    const char *allow; /* the "Allow" header of a 405 */
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
