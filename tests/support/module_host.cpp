#include "tests/support/module_host.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "module/dispatcher.h"
#include "server/hosting/hosting.h"
#include "tests/support/failing_calls.h"

extern "C" int mod_kelto_sysmgmt_plugin_init(plugin *descriptor);

namespace {

constexpr const char *daemon_socket_path = "/tmp/sysmng_web_plugin.socket";

std::string read_exactly(int fd, size_t count)
{
    std::string bytes(count, '\0');
    const ssize_t got = recv(fd, bytes.data(), count, MSG_DONTWAIT | MSG_WAITALL);
    bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return bytes;
}

} // namespace

std::string Answer::header(const std::string &name) const
{
    for (const auto &[key, value] : headers) {
        if (key == name) return value;
    }
    return "";
}

DaemonSocket::DaemonSocket() : listener(::socket(AF_UNIX, SOCK_STREAM, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, daemon_socket_path);
    unlink(daemon_socket_path);
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0 ||
        listen(listener, 64) != 0) {
        ADD_FAILURE() << daemon_socket_path << ": " << strerror(errno);
    }
}

DaemonSocket::~DaemonSocket()
{
    close(listener);
    unlink(daemon_socket_path);
}

int DaemonSocket::accept_one() const
{
    return accept(listener, nullptr, nullptr);
}

ModuleTest *ModuleTest::current;

void ModuleTest::keep_log_line(server *, const char *label, unsigned line, const char *text)
{
    if (!current) return;
    std::string kept = "(";
    kept.append(label).append(".").append(std::to_string(line)).append(") ").append(text);
    current->log.push_back(kept);
}

void ModuleTest::SetUp()
{
    current = this;
    hosted_log_to(keep_log_line);
    after_send = answer_request;
    ASSERT_EQ(mod_kelto_sysmgmt_plugin_init(&descriptor), 0);
    state = static_cast<plugin_data *>(descriptor.init());
    ASSERT_NE(state, nullptr);
    state->id = 3;
    daemon = socket.accept_one();
    con = hosted_connection_new();

    /* The first request of the process asks for the version. */
    std::string info(1020, '\0');
    info.replace(765, strlen(version), version);
    will_reply(44, 1, info);
    request(HTTP_METHOD_GET, "/views");
    replies.clear();
    sent();
    log.clear();
}

void ModuleTest::TearDown()
{
    hosted_connection_free(con);
    descriptor.cleanup(nullptr, state);
    buffer_free(descriptor.name);
    close_daemon();
    current = nullptr;
    after_send = nullptr;
}

void ModuleTest::will_reply(uint32_t command, uint32_t result, const std::string &record)
{
    will_send(reply(command, result, record));
}

void ModuleTest::will_send(const std::string &bytes)
{
    replies.push_back(bytes);
}

void ModuleTest::daemon_sends(const std::string &bytes) const
{
    /* No call that a test lets fail. */
    iovec all = {const_cast<char *>(bytes.data()), bytes.size()};
    ASSERT_EQ(writev(daemon, &all, 1), static_cast<ssize_t>(bytes.size()));
}

void ModuleTest::answer_request()
{
    if (current->replies.empty()) return;
    const std::string bytes = current->replies.front();
    current->replies.pop_front();
    current->daemon_sends(bytes);
}

void ModuleTest::forget_replies()
{
    replies.clear();
    SysMngClearQueue(state->conn);
}

void ModuleTest::close_daemon()
{
    if (daemon >= 0) close(daemon);
    daemon = -1;
}

Answer ModuleTest::request(http_method_t method, const std::string &path, const std::string &form)
{
    hosted_connection_reset(con);
    con->request.http_method = method;
    con->request.content_length = static_cast<int64_t>(form.size());
    hosted_set_path(con, path);
    if (!form.empty()) hosted_append_memory(con, form);
    return run();
}

Answer ModuleTest::run()
{
    Answer answer = {};
    answer.result = descriptor.handle_uri_clean(nullptr, con, state);
    answer.status = con->http_status;
    answer.finished = con->file_finished != 0;
    answer.mode = con->mode;
    if (con->uri.path->used > 0) answer.path = con->uri.path->ptr;
    answer.body = hosted_response_body(con);
    const array *headers = hosted_response_headers(con);
    for (size_t i = 0; i < headers->used; ++i) {
        const auto *entry = reinterpret_cast<const data_string *>(headers->data[i]);
        answer.headers.emplace_back(entry->key->ptr, entry->value->ptr);
    }
    return answer;
}

Sent ModuleTest::sent()
{
    Sent last = {};
    for (;;) {
        const std::string head = read_exactly(daemon, 13);
        if (head.size() < 13) return last;
        last = {u32_at(head, 0), u32_at(head, 8), read_exactly(daemon, u32_at(head, 4) - 13)};
        EXPECT_EQ(message(last.type, last.payload, last.tag), head + last.payload);
    }
}
