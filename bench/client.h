/* A client of the web server that measures: with no more work than that takes. Everything throws
 * std::runtime_error when it fails. */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

void send_all(int fd, const char *bytes, size_t length);

/* One HTTP/1.1 connection that is kept alive. */
class Client {
public:
    explicit Client(int port);
    ~Client();
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    void send(const std::string &bytes) const { send_all(fd, bytes.data(), bytes.size()); }

    /* Receives an answer. Returns the length of its body. */
    size_t receive(int expected_status);

    /* With any status, which is returned. */
    int receive_any();

    size_t exchange(const std::string &request, int expected_status)
    {
        send(request);
        return receive(expected_status);
    }

private:
    size_t receive_more(size_t at);

    int fd;
    size_t body_length = 0;
    std::vector<char> received;
};

std::string http(const std::string &method, const std::string &path, const std::string &form = "");

constexpr size_t piece_size = 1024 * 1024, pieces = 256;

const std::string &random_piece();

/* Sends a body of 256 MiB, as a file or as something that the server stores and the module only
 * looks at. */
void upload(Client &client, bool is_file);
