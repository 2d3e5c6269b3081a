/* Replies against every handler.
 * Input: the record's bytes, repeated to its length; from the input's end, the
 * route, the method, the faults, the length and what is wrong with it. */
#include <algorithm>
#include <cstring>

#include "fuzz/support.h"
#include "reply/escape.h"

namespace {

enum Fault { REFUSED = 1, WRONG_ECHO = 2, WRONG_TYPE = 4 };

std::vector<int> statuses_of(http_method_t method)
{
    if (method == HTTP_METHOD_GET) return {0, 200, 404, 500};
    if (method == HTTP_METHOD_POST) return {0, 200, 201, 400, 500, 507};
    if (method == HTTP_METHOD_PUT) return {0, 204, 400, 404, 500, 507};
    return {204, 404};
}

} // namespace

void fuzz_one(FuzzedDataProvider &input)
{
    const Route &route = routes[input.ConsumeIntegralInRange<size_t>(0, route_count - 1)];
    const Action &action = route.actions[input.ConsumeIntegralInRange(0, 2)];
    const auto faults = input.ConsumeIntegral<uint8_t>();
    const auto length = input.ConsumeIntegralInRange<size_t>(0, 20480);
    const auto surplus = static_cast<int8_t>(input.ConsumeIntegral<uint8_t>());
    std::string filling = input.ConsumeRemainingBytesAsString();
    if (filling.empty()) filling.push_back('\0');
    if (action.method == HTTP_METHOD_UNSET) return;
    std::string record;
    while (record.size() < length) record += filling;
    record.resize(length);

    /* A text alone, where nothing can be written after its field. */
    std::vector<char> field(filling.begin(), filling.end());
    escape_string(field.data(), static_cast<uint32_t>(field.size()));
    require(strnlen(field.data(), field.size()) < field.size(), "a text ends in its field");

    Module module;
    the_daemon.on_message = [&](const std::string &bytes) {
        const uint32_t command = command_of(bytes);
        const auto claimed = static_cast<uint32_t>(static_cast<int>(length) + surplus);
        const uint32_t echo = command + ((faults & WRONG_ECHO) != 0);
        const std::string good = reply(echo, (faults & REFUSED) == 0, claimed, record);
        the_daemon.sends((faults & WRONG_TYPE) != 0 ? message(7, good.substr(13)) : good);
    };
    std::string answer;
    for (int round = 0; round < 2; ++round) { /* the second one has a grown buffer */
        module.begin(route, action);
        append_piece(module.con, {"id[0]=1&id[1]=2"});
        module.con->request.content_length = 15;
        module.run();
        const std::vector<int> allowed = statuses_of(action.method);
        require(std::find(allowed.begin(), allowed.end(), module.con->http_status) != allowed.end(),
                "the status is one of the method's");
        const std::string now(hosted_response_body(module.con));
        require(round == 0 || now == answer, "the same reply gives the same answer");
        answer = now;
    }
}
