/* Replies against every handler.
 * Input: the record's bytes, repeated to its length; from the input's end, the
 * route, the method, the faults, the length and what is wrong with it. */
#include <algorithm>
#include <cstring>
#include <random>

#include "fuzz/mutator.h"
#include "fuzz/support.h"

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
    std::string record = filling;
    while (record.size() < length) record += record;
    record.resize(length);

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

/* Numbers at their limits, and texts, at the offsets of fields. */
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t room, unsigned seed)
{
    const std::string values[] = {
        u32(0),          u32(1),          u32(0x7FFFFFFF),     u32(0x80000000),
        u32(0xFFFFFFFF), u32(0x7FC00000), u32(0xFF800000),     u32(0x501502F9),
        "<\"\\>",        "\n\x01",        std::string(46, 'x')};
    std::minstd_rand random(seed);
    const std::string &value = values[random() % std::size(values)];
    if (random() % 2 == 0 || size < value.size()) return LLVMFuzzerMutate(data, size, room);
    memcpy(data + random() % (size - value.size() + 1), value.data(), value.size());
    return size;
}
