#include "bench/client.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "tests/support/sockets.h"

void send_all(int fd, const char *bytes, size_t length)
{
    while (length > 0) {
        const ssize_t sent = send(fd, bytes, length, MSG_NOSIGNAL);
        if (sent <= 0) throw std::runtime_error("a connection broke");
        bytes += sent;
        length -= static_cast<size_t>(sent);
    }
}

Client::Client(int port) : fd(connect_to(port)), received(1024 * 1024) {}

Client::~Client()
{
    close(fd);
}

int Client::receive_any()
{
    size_t length = 0;
    char *headers_end = nullptr;
    while (!headers_end) {
        length += receive_more(length);
        received[length] = '\0';
        headers_end = strstr(received.data(), "\r\n\r\n");
    }
    const int status = atoi(strchr(received.data(), ' '));
    const char *told = strcasestr(received.data(), "\r\nContent-Length: ");
    body_length = told && told < headers_end ? strtoul(told + 18, nullptr, 10) : 0;
    const size_t whole = static_cast<size_t>(headers_end - received.data()) + 4 + body_length;
    while (length < whole) length += receive_more(length);
    return status;
}

size_t Client::receive(int expected_status)
{
    if (receive_any() != expected_status) throw std::runtime_error(received.data());
    return body_length;
}

size_t Client::receive_more(size_t at)
{
    const ssize_t got = recv(fd, received.data() + at, received.size() - 1 - at, 0);
    if (got <= 0) throw std::runtime_error("the server closed the connection");
    return static_cast<size_t>(got);
}

std::string http(const std::string &method, const std::string &path, const std::string &form)
{
    std::string request = method + " " + path + " HTTP/1.1\r\nHost: localhost\r\n";
    if (!form.empty()) request += "Content-Length: " + std::to_string(form.size()) + "\r\n";
    return request + "\r\n" + form;
}

const std::string &random_piece()
{
    static const std::string made = [] {
        std::string bytes(piece_size, '\0');
        for (char &c : bytes) c = static_cast<char>(rand());
        return bytes;
    }();
    return made;
}

void upload(Client &client, bool is_file)
{
    const std::string head =
                          "--limit\r\nContent-Disposition: form-data; name=\"packageName\"; "
                          "filename=\"package.bin\"\r\n\r\n",
                      tail = "\r\n--limit--\r\n",
                      type =
                          is_file ? "multipart/form-data; boundary=limit" : "application/x-bytes";
    const size_t length = head.size() + pieces * piece_size + tail.size();
    client.send("POST /api/general/firmwareUpgrade HTTP/1.1\r\nHost: localhost\r\nContent-Type: " +
                type + "\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n" + head);
    for (size_t i = 0; i < pieces; ++i) client.send(random_piece());
    client.send(tail);
    client.receive(is_file ? 200 : 400);
}
