/* What the fuzz targets share: bodies in pieces, and the module on the hosting
 * layer with a daemon that acts while the module sends to it. */
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "module/routes.h"
#include "server/hosting/hosting.h"
#include "sysmng/plugin_data.h"
#include "tests/support/messages.h"

/* Each target's one function. A descriptor that it leaves open is a fault. */
void fuzz_one(FuzzedDataProvider &input);

/* Ends the process unless the condition holds. */
void require(bool holds, const char *what);

/* One chunk of a body; its first `offset` bytes are not of the body. */
struct Piece {
    std::string bytes;
    size_t offset = 0;
    bool in_file = false;
};

/* How a body is cut into pieces, and what it begins with. */
struct Cuts {
    explicit Cuts(FuzzedDataProvider &input);
    std::vector<Piece> apply(const std::string &body) const;

    enum { BODY, HEADERS, HEADERS_BEHIND_OFFSET, IN_FILE } front;
    uint8_t in_files; /* a bit for each piece */
    std::vector<uint16_t> lengths;
};

/* The body in one piece, behind an offset. */
Piece undivided(const std::string &body);

/* Appends to the request's body. Memory ends where the piece does. */
void append_piece(connection *con, const Piece &piece);

/* What the decoder makes of a body, as key=value lines. Every key is looked up. */
std::string decode(const std::vector<Piece> &pieces, const std::string &content_type);

/* The module, from its init hook to its cleanup. The version is "rel5". */
class Module {
public:
    Module();
    ~Module();
    void begin(http_method_t method, std::string_view path);
    void begin(const Route &route, const Action &action);

    /* Runs the hook and checks what all answers have in common. While it runs,
     * nothing behind a received reply can be read. */
    handler_t run();

    connection *con = hosted_connection_new();

private:
    plugin descriptor = {};
    plugin_data *state;
};

/* Called with each command, while the module sends it. */
extern std::function<void(uint32_t command)> on_command;

/* What is sent `in_pauses` waits until the module does. */
void daemon_sends(const std::string &bytes, const std::string &in_pauses = "");
void daemon_closes();

/* A reply that the command's handler accepts. */
std::string good_reply(uint32_t command);
