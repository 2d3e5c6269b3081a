/* The routes and records of resources.txt. */
#pragma once

#include <string>
#include <vector>

#include "server/lighttpd.h"

namespace resources {

/* The ways in which handlers answer. */
enum Kind { READ, LIST, READ_ITEM, WRITE, WRITE_ITEM, CREATE, SUBMIT, RUN, RUN_ITEM, REMOVE, NONE };

constexpr http_method_t GET = HTTP_METHOD_GET, POST = HTTP_METHOD_POST;
constexpr http_method_t PUT = HTTP_METHOD_PUT, DELETE = HTTP_METHOD_DELETE;

struct Field {
    size_t at;
    std::string key, value;
    char kind; /* of value: ' u # ~ [ {, or b: a flag, i: an int32 */
};
using Fields = std::vector<Field>;

struct Action {
    http_method_t method;
    Kind kind;
    uint32_t command;
};

struct Route {
    std::string path;
    std::vector<Action> actions; /* in the order of "Allow" */
    size_t size;                 /* of the record */
    Fields fields;
};

const std::vector<Route> &all_routes();
const Fields &record(const std::string &name);

} // namespace resources
