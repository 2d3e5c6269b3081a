/* The module on the hosting layer, as a server would run it: registered and
 * initialised by its own hooks, and connected to the daemon of calls.h. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "server/hosting/hosting.h"
#include "sysmng/plugin_data.h"
#include "tests/support/calls.h"
#include "tests/support/messages.h"

extern "C" int mod_kelto_sysmgmt_plugin_init(plugin *descriptor);

/* Ends the process unless the condition holds. */
void require(bool holds, const char *what);

/* What the text in a field is escaped to, taken one character after the other. */
std::string escaped_naively(const std::string &field);

inline std::vector<std::string> server_log; /* "label.line: items" */

/* One chunk of a request's body; its first `offset` bytes are not of the body. */
struct Piece {
    enum Kind { MEMORY, OPEN_FILE, NAMED_FILE };
    std::string bytes;
    Kind kind = MEMORY;
    size_t offset = 0;
};

int file_with(const std::string &bytes); /* without a name; its descriptor */

/* Appends to the body. Memory ends where the piece does. */
void append_piece(connection *con, const Piece &piece);

/* What a body left behind: the files in the upload directory as "|name:content", then the
 * parameters as "|key=value", each kind sorted. */
std::string text_of_uploads();
std::string text_of(const array *params);

class HostedModule {
public:
    static constexpr size_t id = 3; /* the plugin's index */

    /* The version that the user interface's paths carry is "rel5". */
    explicit HostedModule(const std::string &version = version_reply("rel5"));
    ~HostedModule();
    HostedModule(HostedModule &&) = delete;

    void begin(http_method_t method, std::string_view path);

    /* Appends to the request's body, which is then whole. */
    void append_body(const std::vector<Piece> &pieces);

    /* What the body decoder makes of a request with this body; the parameters are in `state`. */
    handler_t decode(const std::vector<Piece> &pieces, const std::string &content_type);

    handler_t run(); /* the hook, on `con` as it stands */

    plugin descriptor = {};
    plugin_data *state = nullptr;
    connection *con = hosted_connection_new();
};
