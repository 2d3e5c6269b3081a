/* HTTP clients for the tests: a real one, and one that sends any bytes. */
#pragma once

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

struct Response {
    int status = 0; /* 0: the connection was closed without an answer */
    std::vector<std::pair<std::string, std::string>> headers; /* names in lower case */
    std::string body;

    std::string header(const std::string &name) const; /* several values: joined by '|' */

    /* "name: value" of all headers but those that the server adds to every answer, sorted. */
    std::vector<std::string> own_headers() const;
};

/* A part of a form: a field, or with a file name a file. */
struct Part {
    std::string name, filename, content;
};

/* Runs one request. HTTP/1.1 requests get a connection each. */
struct HttpClient {
    int port;
    bool http2 = false;
    std::string certificate = {}; /* the file of the server's; without one, there is no TLS */
    std::string login = {};       /* name:password */
    std::vector<std::string> headers = {}; /* more of them: "Name: value" */

    Response request(const std::string &method, const std::string &path,
                     const std::string &body = "") const;
    Response get(const std::string &path) const { return request("GET", path); }
    Response put(const std::string &path, const std::string &form) const
    {
        return request("PUT", path, form);
    }

    /* The body goes out piece by piece, with a pause before each. */
    Response send_slowly(const std::string &method, const std::string &path,
                         std::vector<std::string> pieces) const;

    /* Posts them as multipart/form-data. */
    Response upload(const std::string &path, const std::vector<Part> &parts) const;
};

/* One HTTP/1.1 connection. Throws std::runtime_error when the server does not accept it. */
class RawConnection {
public:
    explicit RawConnection(int port);
    ~RawConnection();
    RawConnection(RawConnection &&) = delete;

    void send(const std::string &bytes);

    /* The next answer: a status line, headers and as much body as Content-Length says. */
    Response receive();

private:
    int fd;
    FILE *input;
};
