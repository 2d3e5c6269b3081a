/* Paths and methods.
 * Input: the path; from the input's end, the method and the connection's mode. */
#include "fuzz/support.h"

namespace {

std::string text_of(const char *text)
{
    return text ? text : "";
}

/* Under /api a route answers, or nothing happens. */
void check_route(connection *con, handler_t result, int commands)
{
    constexpr const char *methods[] = {"GET",    "HEAD",    "POST",   "PUT",
                                       "DELETE", "CONNECT", "OPTIONS"};
    const std::string method = methods[con->request.http_method];
    const std::string allow = text_of(hosted_response_header(con, "Allow"));
    if (result != HANDLER_FINISHED || con->http_status == 405) {
        require(commands == 0, "no command without an action");
        require(allow.empty() == (result != HANDLER_FINISHED), "a 405 tells what is allowed");
        require(allow.find(method) == allow.npos, "an allowed method is not refused");
    } else {
        require(con->http_status == 0 || con->http_status / 100 == 2, "a good answer");
        require(method == "GET" || method == "PUT" || method == "POST" || method == "DELETE",
                "a method that a route accepts");
    }
}

} // namespace

void fuzz_one(FuzzedDataProvider &input)
{
    const int method = input.ConsumeIntegralInRange<int>(HTTP_METHOD_GET, HTTP_METHOD_OPTIONS);
    const size_t mode = input.ConsumeIntegralInRange(0, 3) == 3 ? 2 : DIRECT;
    const std::string path = input.ConsumeRemainingBytesAsString();
    if (path.find('\0') != path.npos) return; /* the server refuses them */

    Module module;
    int commands = 0;
    the_daemon.on_message = [&](const std::string &bytes) {
        ++commands;
        the_daemon.sends(good_reply(command_of(bytes)));
    };
    module.begin(static_cast<http_method_t>(method), path);
    module.con->mode = mode;
    const handler_t result = module.run();

    const std::string copy = path.substr(0, path.size() - path.ends_with('/'));
    const size_t slash = copy.find('/', 1);
    const std::string below = slash == copy.npos ? "/" : copy.substr(slash);
    const bool ours = mode == DIRECT && !path.empty() && path.size() < 512;
    std::string left = path, location;
    if (ours && copy.starts_with("/vrel5")) {
        left = below;
    } else if (ours && !copy.starts_with("/views") && !copy.starts_with("/api")) {
        location = "/vrel5" + (copy.starts_with("/v") ? below : copy);
    }
    require(left == text_of(module.con->uri.path->ptr), "the path that is handed back");
    require(location == text_of(hosted_response_header(module.con, "Location")), "the redirect");
    if (ours && copy.starts_with("/api")) {
        check_route(module.con, result, commands);
    } else {
        require(commands == 0 && (result == HANDLER_FINISHED) == !location.empty(), "no route");
    }
}
