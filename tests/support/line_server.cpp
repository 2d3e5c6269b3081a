#include "tests/support/line_server.h"

#include <sys/ioctl.h>
#include <unistd.h>

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

void LineServer::start()
{
    watch = {};
    the_daemon.on_message = [](const std::string &) {
        the_daemon.sends(reply(44, 1, text_field("", 765) + text_field("rel5", 255)));
    };
    state = module_init();
    come("/views");
    turn_while_there_is_work();
    clients.clear();
    the_daemon.on_message = [this](const std::string &bytes) {
        commands.push_back({u32_at(bytes, 0), bytes.substr(13)});
    };
}

void LineServer::stop()
{
    for (Client &client : clients) {
        if (client.request && client.woken) leave(client);
        client.request = nullptr; /* the others are ended by the module */
    }
    module_cleanup(state);
    require(module_get_statistics().requests_waiting == 0, "every request has ended");
    unlink("/mnt/data/up.bin");
    the_daemon.closes();
    the_daemon = {};
}

Client &LineServer::come(const std::string &path, int number, http_method_t method,
                         const std::vector<Piece> &body)
{
    Client &client = clients.emplace_back(Client{path, "", number});
    client.request = module_request_new(&client, method, stock(client.path));
    add_body(client, body);
    if (module_handle(client.request)) take_answer(client);
    return client;
}

void LineServer::take_answer(Client &client)
{
    client.status = module_answer(client.request).status;
    leave(client);
}

void LineServer::leave(Client &client)
{
    module_request_free(std::exchange(client.request, nullptr));
}

bool LineServer::turn()
{
    bool did = false;
    int pending = 0;
    if (watch.on && watch.fd >= 0) ioctl(watch.fd, FIONREAD, &pending);
    if (watch.on && (clock_us >= watch.end_us || pending > 0)) {
        module_go_on();
        did = true;
    }
    for (Client &client : clients) {
        if (!client.woken || !client.request) continue;
        require(module_is_answered(client.request) != 0, "who is woken has an answer");
        take_answer(client);
        did = true;
    }
    return did;
}

void LineServer::turn_while_there_is_work()
{
    for (int i = 0; i < 1000 && turn(); ++i) {
    }
}

std::string LineServer::record_of_last() const
{
    return commands.back().second.substr(0, 4) + std::string(766, '\0');
}

std::string LineServer::good_reply(uint32_t command, const std::string &record)
{
    return reply(command, 1, command == get_leds ? record.substr(0, 12) : record);
}

void LineServer::reply_to_last()
{
    the_daemon.sends(good_reply(commands.back().first, record_of_last()));
    turn_while_there_is_work();
}

void LineServer::time_is_up()
{
    clock_us = watch.end_us;
    turn_while_there_is_work();
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
