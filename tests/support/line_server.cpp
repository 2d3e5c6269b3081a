#include "tests/support/line_server.h"

#include <string_view>

Watch watch;
std::vector<std::string> log_of_departed;

const std::vector<QuickAnswer> quick_answers = {
    {"/api/uidLed", HTTP_METHOD_GET, 0},    {"/index.html", HTTP_METHOD_GET, 307},
    {"/vrel5/x.html", HTTP_METHOD_GET, 0},  {"/vrel4/x.html", HTTP_METHOD_GET, 307},
    {"/api/uptime", HTTP_METHOD_PUT, 405},  {"/api/login", HTTP_METHOD_GET, 0},
    {"/api/logout", HTTP_METHOD_POST, 200}, {"/api/decoder", HTTP_METHOD_PUT, 0},
};

std::string path_of(int number)
{
    return "/api/configuration/" + std::to_string(number);
}

std::vector<Piece> upload(size_t bytes)
{
    const std::string head =
        "--b\r\nContent-Disposition: form-data; name=\"packageName\"; "
        "filename=\"up.bin\"\r\n\r\n";
    return {{head + std::string(bytes, 'u'), Piece::OPEN_FILE}, {"\r\n--b--\r\n"}};
}

namespace {

stock_text stock(std::string_view text)
{
    return {text.data(), text.size()};
}

void add_body(Client &client, const std::vector<Piece> &body)
{
    if (body.size() > 1) {
        module_add_request_header(client.request, stock("Content-Type"),
                                  stock("multipart/form-data; boundary=b"));
    }
    int64_t length = 0;
    for (const Piece &piece : body) {
        const auto size = static_cast<int64_t>(piece.bytes.size());
        length += size;
        if (piece.kind == Piece::MEMORY) {
            client.form = piece.bytes;
            module_append_memory(client.request, stock(client.form), 0);
        } else {
            module_append_file(client.request, stock(""), size, file_with(piece.bytes));
        }
    }
    module_set_body_length(client.request, length);
}

} // namespace

Client &LineServer::come(const std::string &path, int number, http_method_t method,
                         const std::vector<Piece> &body)
{
    Client &client = clients.emplace_back(Client{path, "", number});
    client.request = module_request_new(&client, method, stock(client.path));
    add_body(client, body);
    if (module_handle(client.request)) take_answer(client);
    return client;
}

void server_set_header(void *, stock_text, stock_text) {}

void server_append_body(void *request, stock_text bytes)
{
    static_cast<Client *>(request)->body.assign(bytes.data, bytes.length);
}

void server_write_log(void *request, const char *, unsigned, const char *text)
{
    if (!request) log_of_departed.push_back(text);
}

void server_wake(void *request)
{
    static_cast<Client *>(request)->woken = true;
}

int server_watch(int fd, int64_t microseconds)
{
    if (watch.fails) return 0;
    watch = {false, true, fd, clock_us + microseconds};
    return 1;
}

void server_unwatch()
{
    watch.on = false;
}
