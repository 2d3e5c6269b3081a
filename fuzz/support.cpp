#include "fuzz/support.h"

#include <fcntl.h>
#include <sanitizer/asan_interface.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

#include "input/body.h"
#include "input/params.h"
#include "module/plugin.h"

std::function<void(uint32_t command)> on_command;

namespace {

const std::string request_headers = "POST / HTTP/1.1\r\nContent-Type: x; boundary=XyZ\r\n\r\n";

std::vector<std::unique_ptr<char[]>> blocks; /* memory chunks of the current input */
int daemon_fd = -1;
std::string daemon_left;    /* what it has still to send */
plugin_data *current_state; /* of the module that runs */

/* Which of the first descriptors are open. */
uint32_t open_descriptors()
{
    uint32_t open = 0;
    for (int fd = 0; fd < 32; ++fd) open = open << 1 | (fcntl(fd, F_GETFD) != -1);
    return open;
}

bool is_one_of(int status, std::initializer_list<int> all)
{
    return std::find(all.begin(), all.end(), status) != all.end();
}

/* Of the text under a key, escaped. */
size_t longest_text(const std::string &key)
{
    static const std::map<std::string, size_t> lengths = {
        {"bannerText", 8192},     {"status", 10},           {"networkMask", 15},
        {"ipAddress", 45},        {"defaultGateway", 45},   {"ip6AutoAddress", 45},
        {"ip6ManualAddress", 45}, {"ntpServerAddress", 45}, {"forwardingTargetAddress", 45}};
    const auto found = lengths.find(key);
    return found == lengths.end() ? 254 : found->second;
}

/* As far as the text goes, brackets stand in pairs, and strings are closed and
 * no longer than their fields. */
void check_json(std::string_view text, bool cut)
{
    std::string open, last;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '[' || text[i] == '{') open += static_cast<char>(text[i] + 2);
        if (text[i] == ']' || text[i] == '}') {
            require(open.ends_with(text[i]), "brackets stand in pairs");
            open.pop_back();
        }
        if (text[i] != '"') continue;
        const bool is_value = text.substr(0, i).ends_with(" : ");
        const size_t begin = ++i;
        while (i < text.size() && text[i] != '"') i += text[i] == '\\' ? 2 : 1;
        require(cut || i < text.size(), "a text is closed");
        const std::string string(text.substr(begin, i - begin));
        require(!is_value || string.size() <= longest_text(last), "a text fits its field");
        last = string;
    }
    require(cut || open.empty(), "the answer is whole");
    require(text.find_first_of(std::string_view("<>\0", 3)) == text.npos, "no markup, no end");
}

void check_answer(connection *con, const plugin_data *p, handler_t result)
{
    constexpr size_t bound = 5119; /* of every answer but a list of records */
    const int status = con->http_status;
    const std::string_view text = hosted_response_body(con);
    const size_t headers = hosted_response_headers(con)->used;
    if (result != HANDLER_FINISHED) {
        require(text.empty() && headers == 0 && con->file_finished == 0, "no answer yet");
        require(is_one_of(result, {HANDLER_GO_ON, HANDLER_WAIT_FOR_EVENT, HANDLER_ERROR}) &&
                    is_one_of(status, {0, 404, 408, 500, 507}) &&
                    (status == 0 || result == HANDLER_ERROR),
                "only a failure has a status");
        return;
    }
    require(con->file_finished == 1, "a finished request is complete");
    require(con->mode == (status >= 400 ? p->id : DIRECT), "errors are the module's");
    require(text.size() == p->reply_len, "the body is the answer's text");
    if (text.empty()) {
        require(is_one_of(status, {0, 204, 307, 404, 405, 408, 500, 507}), "no body");
        require(headers == is_one_of(status, {307, 405}), "one header or none");
        return;
    }
    const bool cut = text.size() == bound && status != 400;
    require(is_one_of(status, {200, 201, 400, 507}) && headers == 4, "a body with headers");
    require(text.size() <= bound || (status == 200 && text[1] == '\n'), "a bounded text");
    require(cut || status != 507, "only a cut list is a 507");
    check_json(text, cut);
}

} // namespace

void require(bool holds, const char *what)
{
    if (holds) return;
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
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
        pieces.push_back({body.substr(from, length), 0, (in_files >> n & 1) != 0});
        from += length;
    }
    Piece &first = pieces[0];
    first.in_file = front == IN_FILE;
    if (front == HEADERS || front == HEADERS_BEHIND_OFFSET) first = undivided(first.bytes);
    if (front == HEADERS) first.offset = 0;
    return pieces;
}

Piece undivided(const std::string &body)
{
    return {request_headers + body, request_headers.size()};
}

void append_piece(connection *con, const Piece &piece)
{
    const size_t size = piece.bytes.size();
    if (size == piece.offset) return;
    if (piece.in_file) {
        const int fd = memfd_create("body", MFD_CLOEXEC);
        require(write(fd, piece.bytes.data(), size) == static_cast<ssize_t>(size), "a file");
        hosted_append_file(con, "body", static_cast<int64_t>(size), fd);
    } else {
        blocks.push_back(std::make_unique<char[]>(size + 1));
        memcpy(blocks.back().get(), piece.bytes.data(), size);
        hosted_append_memory_view(con, {blocks.back().get(), size}, piece.offset);
    }
}

std::string decode(const std::vector<Piece> &pieces, const std::string &content_type)
{
    connection *con = hosted_connection_new();
    plugin_data state = {};
    state.params = array_init();
    state.tmp_buf = buffer_init();
    hosted_add_request_header(con, "Content-Type", content_type);
    for (const Piece &piece : pieces) append_piece(con, piece);
    con->request.content_length = con->request_content_queue->bytes_in;
    require(parse_query_params(nullptr, con, &state) == HANDLER_GO_ON, "a whole body is decoded");

    std::string all;
    for (size_t i = 0; i < state.params->used; ++i) {
        const auto *entry = reinterpret_cast<const data_string *>(state.params->data[i]);
        const std::string key(entry->key->ptr, entry->key->used - 1);
        all += key + "=" + std::string(entry->value->ptr, entry->value->used - 1) + "\n";
        const bool found = get_value(state.params, key.c_str()) != nullptr;
        require(found || key.find('\0') != key.npos, "what is stored is found");
        get_array_element_value(state.params, key.substr(0, key.find('[')).c_str(), 0);
    }
    array_free(state.params);
    buffer_free(state.tmp_buf);
    hosted_connection_free(con);
    return all;
}

Module::Module()
{
    describe_plugin(&descriptor);
    current_state = state = static_cast<plugin_data *>(descriptor.init());
    require(state != nullptr, "the module starts");
    state->id = 3;
    static bool version_known; /* the first request of the process asks for it */
    if (version_known) return;
    version_known = true;
    on_command = [](uint32_t command) {
        daemon_sends(reply(command, 1, text_field("", 765) + text_field("rel5", 255)));
    };
    begin(HTTP_METHOD_GET, "/views");
    run();
}

Module::~Module()
{
    current_state = nullptr;
    descriptor.cleanup(nullptr, state);
    buffer_free(descriptor.name);
    hosted_connection_free(con);
    daemon_closes();
}

void Module::begin(http_method_t method, std::string_view path)
{
    hosted_connection_reset(con);
    con->request.http_method = method;
    hosted_set_path(con, path);
}

void Module::begin(const Route &route, const Action &action)
{
    const std::string path = route.path;
    begin(action.method, path[0] == '^' ? path.substr(1, path.find('(') - 1) + "7" : path);
}

handler_t Module::run()
{
    const handler_t result = descriptor.handle_uri_clean(nullptr, con, state);
    ASAN_UNPOISON_MEMORY_REGION(state->msg_buf, state->msg_buf_size);
    check_answer(con, state, result);
    return result;
}

void daemon_sends(const std::string &bytes, const std::string &in_pauses)
{
    if (!bytes.empty()) send(daemon_fd, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    daemon_left = in_pauses;
}

void daemon_closes()
{
    if (daemon_fd != -1) close(daemon_fd);
    daemon_fd = -1;
}

std::string good_reply(uint32_t command)
{
    static const std::map<uint32_t, size_t> lists_and_large_ones = {
        {1, 1694}, {22, 481}, {26, 80}, {28, 9214}, {32, 8194}, {39, 770}};
    const auto found = lists_and_large_ones.find(command);
    return reply(command, 1,
                 text_field("", found == lists_and_large_ones.end() ? 1968 : found->second));
}

/* The module's calls. Its connection is one end of a pair, and nothing waits. */
extern "C" {

int __wrap_connect(int fd, const sockaddr *, socklen_t)
{
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "a pair of sockets");
    dup2(ends[0], fd);
    close(ends[0]);
    daemon_fd = ends[1];
    return fcntl(fd, F_SETFL, O_NONBLOCK);
}

ssize_t __real_send(int fd, const void *bytes, size_t count, int flags);
ssize_t __wrap_send(int fd, const void *bytes, size_t count, int flags)
{
    const ssize_t sent = __real_send(fd, bytes, count, flags);
    if (fd == daemon_fd || sent <= 0) return sent;
    std::string command(32768, '\0');
    command.resize(static_cast<size_t>(recv(daemon_fd, command.data(), command.size(), 0)));
    require(u32_at(command, 4) == command.size(), "a command is a whole message");
    on_command(u32_at(command, 0));
    return sent;
}

ssize_t __real_recv(int fd, void *bytes, size_t count, int flags);
ssize_t __wrap_recv(int fd, void *bytes, size_t count, int flags)
{
    const ssize_t got = __real_recv(fd, bytes, count, flags);
    if (current_state && bytes == current_state->msg_buf && got > 0) {
        const auto received = static_cast<size_t>(got);
        ASAN_POISON_MEMORY_REGION(current_state->msg_buf + received,
                                  current_state->msg_buf_size - received);
    }
    return got;
}

/* The time is up at once; a pause lets the daemon go on. */
int __real_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout);
int __wrap_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout)
{
    *timeout = {0, 0};
    if (count > 0) return __real_select(count, read, write, except, timeout);
    if (daemon_left.empty()) return 0;
    const std::string left = daemon_left;
    const size_t half = left.size() / 2 + left.size() % 2;
    daemon_sends(left.substr(0, half), left.substr(half));
    return 0;
}

/* The decoder's debug lines would fill the terminal. */
ssize_t __real_write(int fd, const void *bytes, size_t count);
ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    return fd == STDERR_FILENO ? static_cast<ssize_t>(count) : __real_write(fd, bytes, count);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    hosted_log_to([](server *, const char *, unsigned, const char *) {});
    const uint32_t open_before = open_descriptors();
    FuzzedDataProvider input(data, size);
    fuzz_one(input);
    require(open_descriptors() == open_before, "every descriptor is closed");
    blocks.clear();
    return 0;
}
}
