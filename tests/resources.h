/* The routes and records of resources.txt. */
#pragma once

#include <string>
#include <vector>

#include "server/lighttpd.h"

namespace resources {

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
    std::string kind; /* the way in which it answers */
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
