#include "tests/support/module_host.h"

#include <sanitizer/asan_interface.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <set>
#include <sstream>
#include <utility>

#include "input/body.h"

namespace fs = std::filesystem;

namespace {

/* The memory of the bodies' pieces, until the next request. */
std::vector<std::vector<char>> blocks;
std::vector<int> named_files;

std::string text_of(const buffer *b)
{
    return b->used > 0 ? std::string(b->ptr, b->used - 1) : std::string();
}

} // namespace

void require(bool holds, const char *what)
{
    if (holds) return;
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
}

std::string escaped_naively(const std::string &field)
{
    std::string escaped;
    for (const char c : field.substr(0, field.find('\0'))) {
        std::string one(1, c);
        if (c == '<') one = "&lt;";
        if (c == '>') one = "&gt;";
        if (c == '"' || c == '\\') one.insert(0, "\\");
        if (escaped.size() + one.size() >= field.size()) break;
        escaped += one;
    }
    return escaped;
}

int file_with(const std::string &bytes)
{
    const int fd = memfd_create("body", MFD_CLOEXEC);
    const auto size = static_cast<ssize_t>(bytes.size());
    require(write(fd, bytes.data(), bytes.size()) == size, "a file");
    return fd;
}

void append_piece(connection *con, const Piece &piece)
{
    const size_t size = piece.bytes.size();
    if (size == piece.offset) return;
    if (piece.kind == Piece::MEMORY) {
        const char *const bytes = piece.bytes.c_str();
        blocks.emplace_back(bytes, bytes + size + 1);
        hosted_append_memory_view(con, {blocks.back().data(), size}, piece.offset);
        return;
    }
    int fd = file_with(piece.bytes);
    const std::string name = "/proc/self/fd/" + std::to_string(fd);
    if (piece.kind == Piece::NAMED_FILE) {
        named_files.push_back(fd);
        fd = -1;
    }
    hosted_append_file(con, name, static_cast<int64_t>(size), fd);
}

std::string text_of_uploads()
{
    std::set<std::string> files;
    for (const auto &entry : fs::directory_iterator("/mnt/data")) {
        std::ostringstream text;
        text << "|" << entry.path().filename().string() << ":";
        if (fs::is_regular_file(entry.symlink_status())) {
            text << std::ifstream(entry.path()).rdbuf();
        } else {
            text << "(not a file)";
        }
        files.insert(text.str());
    }
    return std::accumulate(files.begin(), files.end(), std::string());
}

std::string text_of(const array *params)
{
    std::set<std::string> pairs;
    for (size_t i = 0; i < params->used; ++i) {
        const auto *entry = reinterpret_cast<const data_string *>(params->data[i]);
        pairs.insert("|" + text_of(entry->key) + "=" + text_of(entry->value));
    }
    return std::accumulate(pairs.begin(), pairs.end(), std::string());
}

HostedModule::HostedModule(const std::string &version)
{
    hosted_log_to([](server *, const char *label, unsigned line, const char *text) {
        server_log.push_back(std::string(label) + "." + std::to_string(line) + ": " + text);
    });
    require(mod_kelto_sysmgmt_plugin_init(&descriptor) == 0, "the module registers");
    state = static_cast<plugin_data *>(descriptor.init());
    require(state != nullptr, "the module starts");
    state->id = id;

    /* The first request of the process asks for the version. */
    the_daemon.on_message = [&](const std::string &) { the_daemon.sends(version); };
    begin(HTTP_METHOD_GET, "/views");
    run();
    the_daemon.on_message = nullptr;
    server_log.clear();
    debug_output.clear();
}

HostedModule::~HostedModule()
{
    begin(HTTP_METHOD_GET, "");
    descriptor.cleanup(nullptr, state);
    buffer_free(descriptor.name);
    hosted_connection_free(con);
    the_daemon.closes();
    the_daemon = {};
}

void HostedModule::begin(http_method_t method, std::string_view path)
{
    hosted_connection_reset(con);
    blocks.clear();
    for (const int fd : std::exchange(named_files, {})) close(fd);
    con->request.http_method = method;
    hosted_set_path(con, path);
}

void HostedModule::append_body(const std::vector<Piece> &pieces)
{
    for (const Piece &piece : pieces) append_piece(con, piece);
    con->request.content_length = con->request_content_queue->bytes_in;
}

handler_t HostedModule::decode(const std::vector<Piece> &pieces, const std::string &content_type)
{
    begin(HTTP_METHOD_PUT, "");
    hosted_add_request_header(con, "content-type", content_type);
    append_body(pieces);
    array_reset(state->params);
    return parse_query_params(nullptr, con, state);
}

handler_t HostedModule::run()
{
    guarded = state;
    const handler_t result = descriptor.handle_uri_clean(nullptr, con, state);
    guarded = nullptr;
    ASAN_UNPOISON_MEMORY_REGION(state->msg_buf, state->msg_buf_size);
    return result;
}
