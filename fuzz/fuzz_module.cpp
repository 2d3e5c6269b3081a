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

void act(Sequence &sequence, Daemon what, const std::string &bytes, uint32_t command)
{
    const std::string good = good_reply(command);
    const std::string list = text_field(bytes, bytes.size() % 50 * 510);
    const size_t half = good.size() / 2;
    const struct {
        std::string now, in_a_while, afterwards;
    } daemon[] = {
        {good, "", ""}, /* in the order of the names */
        {good.substr(0, 14), good.substr(14), ""},
        {reply(command, 2, list), "", ""},
        {message(0, bytes), "", ""},
        {bytes, "", ""},
        {good_reply(command + 1), "", good},
        {good.substr(0, half), "", good.substr(half)},
        {"", "", ""},
        {"", "", good},
        {good + good, "", ""},
        {bytes, "", ""},
    };
    the_daemon.sends(daemon[what].now);
    if (!daemon[what].in_a_while.empty()) the_daemon.later = {{1000, daemon[what].in_a_while}};
    sequence.afterwards = daemon[what].afterwards;
    if (what == CLOSES) the_daemon.closes();
    sequence.connected = what != CLOSES;
    ++sequence.commands;
}

/* The body arrives piece by piece, and perhaps not to its end. */
void send_body(Module &module, FuzzedDataProvider &input)
{
    connection *con = module.con;
    const std::vector<Piece> pieces = Cuts(input).apply(input.ConsumeRandomLengthString());
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
        const auto method = input.ConsumeIntegralInRange<int>(-1, HTTP_METHOD_OPTIONS);
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
    the_daemon.on_message = [](const std::string &message) {
        the_daemon.sends(reply(command_of(message), 1, std::string(32, 'M')));
    };
    for (int round = -2; round < sequence.left_over; ++round) {
        sequence.module.begin(HTTP_METHOD_GET, "/api/changes");
        sequence.module.run();
    }
    const std::string_view body = hosted_response_body(sequence.module.con);
    const bool right = body.starts_with("[ {\"channelList\" : 1296911693, ");
    require(sequence.connected ? right : sequence.module.con->http_status == 500,
            "the link works, or fails");
}

} // namespace

void fuzz_one(FuzzedDataProvider &input)
{
    Sequence sequence;
    for (int n = 0; n < 8 && input.remaining_bytes() > 0; ++n) request(sequence, input);
    probe(sequence);
    for (const auto &entry : fs::directory_iterator("/mnt/data")) {
        require(fs::is_regular_file(entry.symlink_status()), "an upload is a file");
        fs::remove(entry);
    }
}
