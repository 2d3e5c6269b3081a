#include "tests/support/module_host.h"

#include <sanitizer/asan_interface.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include "input/body.h"

std::vector<std::string> server_log;

namespace fs = std::filesystem;

namespace {

/* The memory of the bodies' pieces, until the next request. */
std::vector<std::unique_ptr<char[]>> blocks;
std::vector<int> named_files;

void keep_log_line(server *, const char *label, unsigned line, const char *text)
{
    server_log.push_back(std::string(label) + "." + std::to_string(line) + ": " + text);
}

void forget_pieces()
{
    blocks.clear();
    for (const int fd : named_files) close(fd);
    named_files.clear();
}

std::string text_of(const buffer *b)
{
    return b->used > 0 ? std::string(b->ptr, b->used - 1) : std::string();
}

std::string joined(const std::set<std::string> &texts)
{
    std::string all;
    for (const std::string &text : texts) all += "|" + text;
    return all;
}

} // namespace

void require(bool holds, const char *what)
{
    if (holds) return;
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
}

int sequences_to_try()
{
    const char *value = getenv("KELTO_SEQUENCES");
    return value ? atoi(value) : 1000;
}

void append_piece(connection *con, const Piece &piece)
{
    const size_t size = piece.bytes.size();
    if (size == piece.offset) return;
    if (piece.kind == Piece::MEMORY) {
        blocks.push_back(std::make_unique<char[]>(size + 1));
        memcpy(blocks.back().get(), piece.bytes.data(), size);
        hosted_append_memory_view(con, {blocks.back().get(), size}, piece.offset);
        return;
    }
    int fd = memfd_create("body", MFD_CLOEXEC);
    require(write(fd, piece.bytes.data(), size) == static_cast<ssize_t>(size), "a file");
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
        std::ostringstream content;
        if (fs::is_regular_file(entry.symlink_status())) {
            content << std::ifstream(entry.path()).rdbuf();
        } else {
            content << "(not a file)";
        }
        files.insert(entry.path().filename().string() + ":" + content.str());
    }
    return joined(files);
}

std::string text_of(const array *params)
{
    std::set<std::string> pairs;
    for (size_t i = 0; i < params->used; ++i) {
        const auto *entry = reinterpret_cast<const data_string *>(params->data[i]);
        pairs.insert(text_of(entry->key) + "=" + text_of(entry->value));
    }
    return joined(pairs);
}

HostedModule::HostedModule()
{
    hosted_log_to(keep_log_line);
    require(mod_kelto_sysmgmt_plugin_init(&descriptor) == 0, "the module registers");
    state = static_cast<plugin_data *>(descriptor.init());
    require(state != nullptr, "the module starts");
    state->id = id;

    /* The first request of the process asks for the version. */
    the_daemon.on_message = [](const std::string &) {
        the_daemon.sends(reply(44, 1, text_field("", 765) + text_field("rel5", 255)));
    };
    begin(HTTP_METHOD_GET, "/views");
    run();
    the_daemon.on_message = nullptr;
    server_log.clear();
    debug_output.clear();
}

HostedModule::~HostedModule()
{
    descriptor.cleanup(nullptr, state);
    buffer_free(descriptor.name);
    hosted_connection_free(con);
    forget_pieces();
    the_daemon.closes();
    the_daemon = {};
}

void HostedModule::begin(http_method_t method, std::string_view path)
{
    hosted_connection_reset(con);
    forget_pieces();
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
