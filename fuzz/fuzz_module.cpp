/* Sequences of requests to the whole module, with a daemon that can do
 * anything and the real upload directory.
 * Input: for each request the bytes that the daemon sends, a path, and the body,
 * each up to a backslash and another character; the rest from the input's end. */
#include <filesystem>

#include "fuzz/support.h"

namespace {

namespace fs = std::filesystem;

enum Daemon { GOOD, SLOW, REFUSES, PAYLOAD, BYTES, WRONG_ECHO, HALF, SILENT, LATE, TWICE, CLOSES };

constexpr const char *types[] = {"application/x-www-form-urlencoded",
                                 "multipart/form-data; boundary=XyZ", "multipart/form-data", "x"};

struct Sequence {
    Module module;
    int commands = 0;       /* of the current request */
    bool connected = true;  /* to the daemon */
    int left_over = 0;      /* replies that later commands may meet */
    std::string afterwards; /* what the daemon sends when the request is over */
};

std::string refusal(uint32_t command, const std::string &bytes)
{
    return reply(command, 2, text_field(bytes, bytes.size() % 50 * 510));
}

/* What the daemon sends at once, in a while, or when the request is over. */
void act(Sequence &sequence, Daemon what, const std::string &bytes, uint32_t command)
{
    const std::string good = good_reply(command);
    const size_t half = good.size() / 2;
    std::string now, in_a_while;
    switch (what) {
        case GOOD: now = good; break;
        case SLOW: now = good.substr(0, 14), in_a_while = good.substr(14); break;
        case REFUSES: now = refusal(command, bytes); break;
        case PAYLOAD: now = message(0, bytes); break;
        case BYTES:
        case CLOSES: now = bytes; break;
        case WRONG_ECHO: now = good_reply(command + 1), sequence.afterwards = good; break;
        case HALF: now = good.substr(0, half), sequence.afterwards = good.substr(half); break;
        case SILENT: break;
        case LATE: sequence.afterwards = good; break;
        case TWICE: now = good + good; break;
    }
    the_daemon.sends(now);
    if (!in_a_while.empty()) the_daemon.later = {{1000, in_a_while}};
    if (what == CLOSES) the_daemon.closes();
    sequence.connected = what != CLOSES;
    ++sequence.commands;
}

/* One byte stands for a value that is longer than any field. */
std::string with_long_values(const std::string &body)
{
    std::string all;
    for (const char c : body) all += c == '\x7f' ? std::string(5000, 'x') : std::string(1, c);
    return all;
}

/* The body arrives piece by piece, and perhaps not to its end. */
void send_body(Module &module, FuzzedDataProvider &input)
{
    connection *con = module.con;
    const Cuts cuts(input);
    const std::vector<Piece> pieces =
        cuts.apply(with_long_values(input.ConsumeRandomLengthString()));
    const auto given_up = input.ConsumeIntegralInRange<size_t>(0, 15);
    const bool files_lost = input.ConsumeIntegralInRange(0, 7) == 7;
    hosted_add_request_header(con, "Content-Type", input.PickValueInArray(types));
    for (const Piece &piece : pieces)
        con->request.content_length += static_cast<int64_t>(piece.bytes.size() - piece.offset);

    handler_t result = module.run();
    for (size_t i = 0; i < pieces.size() && result == HANDLER_WAIT_FOR_EVENT; ++i) {
        if (i + 1 == given_up) return;
        if (files_lost && pieces[i].kind == Piece::OPEN_FILE) {
            hosted_append_file(con, "lost", static_cast<int64_t>(pieces[i].bytes.size()));
        } else {
            append_piece(con, pieces[i]);
        }
        result = module.run();
    }
    require(result != HANDLER_WAIT_FOR_EVENT, "a whole body is enough");
}

void check(Sequence &sequence, Daemon what)
{
    const int status = sequence.module.con->http_status;
    const bool good = status / 100 == 2, in_order = sequence.left_over == 0;
    require(sequence.commands == 1, "one command a request");
    if (in_order && (what == GOOD || what == SLOW)) require(good, "a good answer");
    if (in_order && (what == SILENT || what == LATE)) require(status == 408, "a time-out");
    if (what == LATE || what == TWICE || (what == BYTES && good)) {
        ++sequence.left_over;
    } else if (!good && status != 408) {
        sequence.left_over = 0; /* a failure drains */
    }
}

void request(Sequence &sequence, FuzzedDataProvider &input)
{
    const auto chosen = input.ConsumeIntegralInRange<size_t>(0, route_count);
    const auto what = static_cast<Daemon>(input.ConsumeIntegralInRange<int>(GOOD, CLOSES));
    const std::string bytes = input.ConsumeRandomLengthString();
    if (chosen < route_count) {
        const Action &action = routes[chosen].actions[input.ConsumeIntegralInRange(0, 2)];
        sequence.module.begin(routes[chosen], action);
    } else {
        auto method = input.ConsumeIntegralInRange<int>(-1, 14);
        if (method > 7) method -= 16; /* -8 to 7: all that the type can be */
        sequence.module.begin(static_cast<http_method_t>(method),
                              input.ConsumeRandomLengthString());
    }
    sequence.commands = 0;
    the_daemon.on_message = [&](const std::string &message) {
        act(sequence, what, bytes, command_of(message));
    };
    send_body(sequence.module, input);
    if (sequence.commands > 0) check(sequence, what);
    for (const Late &late : std::exchange(the_daemon.later, {})) the_daemon.sends(late.bytes);
    the_daemon.sends(std::exchange(sequence.afterwards, ""));
}

/* Whatever happened, a good exchange gives its own answer, at the latest when
 * all that was left over is used up; without a daemon it fails at once. */
void probe(Sequence &sequence)
{
    const plugin &hooks = sequence.module.descriptor;
    for (const auto hook : {hooks.set_defaults, hooks.handle_trigger})
        require(hook(nullptr, sequence.module.state) == HANDLER_GO_ON, "the server goes on");
    require(hooks.connection_reset(nullptr, sequence.module.con, sequence.module.state) ==
                HANDLER_GO_ON,
            "and ends requests");
    the_daemon.on_message = [](const std::string &message) {
        the_daemon.sends(reply(command_of(message), 1, std::string(32, 'M')));
    };
    bool right = false;
    for (int round = -2; round < sequence.left_over && !right; ++round) {
        sequence.module.begin(HTTP_METHOD_GET, "/api/changes");
        sequence.module.run();
        right = hosted_response_body(sequence.module.con)
                    .starts_with("[ {\"channelList\" : 1296911693, ");
    }
    require(right == sequence.connected && (right || sequence.module.con->http_status == 500),
            "the link works, or fails");
}

} // namespace

void fuzz_one(FuzzedDataProvider &input)
{
    Sequence sequence;
    for (int n = 0; n < 4 && input.remaining_bytes() > 0; ++n) request(sequence, input);
    probe(sequence);
    for (const auto &entry : fs::directory_iterator("/mnt/data")) {
        require(fs::is_regular_file(entry.symlink_status()), "an upload is a file");
        fs::remove(entry);
    }
}
