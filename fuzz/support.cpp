#include "fuzz/support.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "input/params.h"
#include "module/dispatcher.h"
#include "sysmng/command.h"

namespace {

const std::string request_headers = "POST / HTTP/1.1\r\nContent-Type: x; boundary=XyZ\r\n\r\n";

bool is_one_of(int status, std::initializer_list<int> all)
{
    return std::find(all.begin(), all.end(), status) != all.end();
}

void check_answer(connection *con, const plugin_data *p, handler_t result)
{
    constexpr size_t bound = 5119; /* of every answer but a list of records */
    const int status = con->http_status;
    const std::string_view text = hosted_response_body(con);
    const size_t headers = hosted_response_headers(con)->used;
    if (result != HANDLER_FINISHED) {
        require(text.empty() && headers == 0 && con->file_finished == 0, "no answer yet");
        require(result == HANDLER_ERROR ? is_one_of(status, {0, 404, 408, 500, 507}) : status == 0,
                "only a failure has a status");
        return;
    }
    require(con->file_finished == 1, "a finished request is complete");
    require(con->mode == (status >= 400 ? p->id : DIRECT), "errors are the module's");
    if (text.empty()) {
        require(is_one_of(status, {0, 204, 307, 404, 405, 408, 500, 507}), "no body");
        require(headers == is_one_of(status, {307, 405}), "one header or none");
        return;
    }
    const bool cut = text.size() == bound && status != 400;
    require(is_one_of(status, {200, 201, 400, 507}) && headers == 4, "a body with headers");
    require(text.size() <= bound || (status == 200 && text[1] == '\n'), "a bounded text");
    require(cut || status != 507, "only a cut list is a 507");
    require(text.find_first_of(std::string_view("<>\0", 3)) == text.npos, "no markup, no end");
    require(cut || is_json(text), "a whole answer is JSON");
}

} // namespace

/* What stands on the stack of an allocation is asked for too seldom for its
 * price, and so is memory that was freed long ago. */
extern "C" const char *__asan_default_options()
{
    return "malloc_context_size=2:quarantine_size_mb=8:thread_local_quarantine_size_kb=256";
}

bool is_json(std::string_view text)
{
    static std::string before; /* many answers are those of the request before */
    if (text == before) return true;
    std::string json(text);
    for (char &c : json) {
        if (!isprint(static_cast<unsigned char>(c))) c = ' ';
    }
    for (const char *word : {"nan", "inf"}) {
        for (size_t at = 0; (at = json.find(word, at)) != json.npos;) json.replace(at, 3, "0.0");
    }
    if (!nlohmann::json::accept(json)) return false;
    before = text;
    return true;
}

Cuts::Cuts(FuzzedDataProvider &input)
{
    front = static_cast<decltype(front)>(input.ConsumeIntegralInRange<int>(BODY, IN_FILE));
    in_files = input.ConsumeIntegral<uint8_t>();
    lengths.resize(input.ConsumeIntegralInRange<size_t>(0, 7));
    for (uint16_t &length : lengths) length = input.ConsumeIntegralInRange<uint16_t>(1, 256);
}

std::vector<Piece> Cuts::apply(const std::string &body) const
{
    std::vector<Piece> pieces;
    for (size_t from = 0; from < body.size() || pieces.empty();) {
        const size_t n = pieces.size();
        const size_t length = n < lengths.size() ? lengths[n] : body.size();
        const bool in_file = n == 0 ? front == IN_FILE : (in_files >> n & 1) != 0;
        pieces.push_back({body.substr(from, length), in_file ? Piece::OPEN_FILE : Piece::MEMORY});
        from += length;
    }
    Piece &first = pieces[0];
    if (front == HEADERS || front == HEADERS_BEHIND_OFFSET) first = undivided(first.bytes);
    if (front == HEADERS) first.offset = 0;
    return pieces;
}

Piece undivided(const std::string &body)
{
    return {request_headers + body, Piece::MEMORY, request_headers.size()};
}

void Module::begin(const Route &route, const Action &action)
{
    const std::string path(route.path);
    begin(action.method, path[0] == '^' ? path.substr(1, path.find('(') - 1) + "7" : path);
}

std::string Module::decode(const std::vector<Piece> &pieces, const std::string &content_type)
{
    const handler_t result = HostedModule::decode(pieces, content_type);
    require(result == HANDLER_GO_ON, "a whole body is decoded");

    const std::string all = text_of(state->params);
    for (size_t i = 0; i < state->params->used; ++i) {
        const auto *entry = reinterpret_cast<const data_string *>(state->params->data[i]);
        const std::string key(entry->key->ptr, entry->key->used - 1);
        const bool found = get_value(state->params, key.c_str()) != nullptr;
        require(found || key.find('\0') != key.npos, "what is stored is found");
        get_array_element_value(state->params, key.substr(0, key.find('[')).c_str(), 0);
    }
    return all;
}

handler_t Module::run()
{
    const bool answered = answers_path(con), idle = needs_of(con) == Needs::Nothing;
    const uint32_t sent_before = command_counts.sent;
    const handler_t result = HostedModule::run();
    require(answered || result == HANDLER_GO_ON, "what is not for the module is left alone");
    require(!idle || command_counts.sent == sent_before, "what needs no daemon sends nothing");
    check_answer(con, state, result);
    return result;
}

uint32_t command_of(const std::string &bytes)
{
    require(message(u32_at(bytes, 0), bytes.substr(13), u32_at(bytes, 8)) == bytes,
            "a command is a whole message");
    return u32_at(bytes, 0);
}

std::string good_reply(uint32_t command)
{
    static const std::map<uint32_t, size_t> lists_and_large_ones = {
        {1, 1694}, {22, 481}, {26, 80}, {28, 9214}, {32, 8194}, {39, 770}};
    const auto found = lists_and_large_ones.find(command);
    return reply(command, 1,
                 text_field("", found == lists_and_large_ones.end() ? 1968 : found->second));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool unused = std::filesystem::is_empty("/mnt/data");
    require(unused, "the upload directory is not in use");
    FuzzedDataProvider nothing(data, 0), input(data, size);
    static const bool warmed_up = (fuzz_one(nothing), true); /* what is kept is open now */
    require(warmed_up, "an empty input is one, too");
    const int open_before = std::popcount(open_descriptors());
    fuzz_one(input);
    server_log.clear();
    debug_output.clear();
    require(std::popcount(open_descriptors()) == open_before, "every descriptor is closed");
    return 0;
}
