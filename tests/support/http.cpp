#include "tests/support/http.h"

#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <set>
#include <stdexcept>

#include "tests/support/sockets.h"

namespace {

constexpr long patience_seconds = 60;

size_t append_body(char *bytes, size_t size, size_t count, void *to)
{
    static_cast<Response *>(to)->body.append(bytes, size * count);
    return size * count;
}

/* "Name: value\r\n"; other lines are no header. */
size_t append_header(const char *bytes, size_t size, size_t count, void *to)
{
    const std::string line(bytes, size * count);
    const size_t colon = line.find(": ");
    if (colon == std::string::npos) return line.size();
    std::string name = line.substr(0, colon);
    for (char &c : name) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    const std::string value = line.substr(colon + 2, line.find('\r') - colon - 2);
    static_cast<Response *>(to)->headers.emplace_back(name, value);
    return line.size();
}

/* What is left of a body, with a pause before each piece. */
size_t read_piece(char *to, size_t size, size_t count, void *from)
{
    auto &pieces = *static_cast<std::vector<std::string> *>(from);
    if (pieces.empty()) return 0;
    usleep(10000);
    const size_t length = pieces.front().copy(to, size * count);
    pieces.front().erase(0, length);
    if (pieces.front().empty()) pieces.erase(pieces.begin());
    return length;
}

/* Runs a request, after `prepare` has set what is special about it. */
Response perform(const HttpClient &client, const std::string &method, const std::string &path,
                 const std::function<void(CURL *)> &prepare)
{
    CURL *const curl = curl_easy_init();
    const std::string scheme = client.certificate.empty() ? "http" : "https";
    const std::string url = scheme + "://127.0.0.1:" + std::to_string(client.port) + path;
    curl_slist *headers = nullptr;
    for (const std::string &one : client.headers) headers = curl_slist_append(headers, one.c_str());
    Response response;
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(curl, CURLOPT_CAINFO, client.certificate.c_str());
    if (!client.login.empty()) curl_easy_setopt(curl, CURLOPT_USERPWD, client.login.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, patience_seconds);
    curl_easy_setopt(curl, CURLOPT_HTTP_VERSION,
                     client.http2 ? CURL_HTTP_VERSION_2_PRIOR_KNOWLEDGE : CURL_HTTP_VERSION_1_1);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append_body);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &response);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, append_header);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &response);
    prepare(curl);
    const CURLcode result = curl_easy_perform(curl);
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_cleanup(curl);
    curl_slist_free_all(headers);
    if (result != CURLE_OK && result != CURLE_GOT_NOTHING)
        throw std::runtime_error(method + " " + path + ": " + curl_easy_strerror(result));
    response.status = static_cast<int>(status);
    return response;
}

} // namespace

std::string Response::header(const std::string &name) const
{
    std::string values;
    for (const auto &[key, value] : headers) {
        if (key == name) values += (values.empty() ? "" : "|") + value;
    }
    return values;
}

std::vector<std::string> Response::own_headers() const
{
    static const std::set<std::string> servers = {"date", "server", "content-length", "connection"};
    std::vector<std::string> lines;
    for (const auto &[key, value] : headers) {
        if (!servers.contains(key)) lines.emplace_back(key).append(": ").append(value);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

Response HttpClient::request(const std::string &method, const std::string &path,
                             const std::string &body) const
{
    return perform(*this, method, path, [&](CURL *curl) {
        if (method == "HEAD") curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
        if (method != "POST" && method != "PUT" && body.empty()) return;
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    });
}

Response HttpClient::send_slowly(const std::string &method, const std::string &path,
                                 std::vector<std::string> pieces) const
{
    return perform(*this, method, path, [&](CURL *curl) {
        curl_off_t length = 0;
        for (const std::string &piece : pieces) length += static_cast<curl_off_t>(piece.size());
        curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, length);
        curl_easy_setopt(curl, CURLOPT_READFUNCTION, read_piece);
        curl_easy_setopt(curl, CURLOPT_READDATA, &pieces);
    });
}

Response HttpClient::upload(const std::string &path, const std::vector<Part> &parts) const
{
    curl_mime *form = nullptr;
    const Response response = perform(*this, "POST", path, [&](CURL *curl) {
        form = curl_mime_init(curl);
        for (const auto &[name, filename, content] : parts) {
            curl_mimepart *const part = curl_mime_addpart(form);
            curl_mime_name(part, name.c_str());
            if (!filename.empty()) curl_mime_filename(part, filename.c_str());
            curl_mime_data(part, content.data(), content.size());
        }
        curl_easy_setopt(curl, CURLOPT_MIMEPOST, form);
    });
    curl_mime_free(form);
    return response;
}

RawConnection::RawConnection(int port) : fd(connect_to(port)), input(fdopen(fd, "r"))
{
    const int on = 1;
    const timeval patience = {patience_seconds, 0};
    if (setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)) != 0 ||
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience)) != 0) {
        throw std::runtime_error("no connection to port " + std::to_string(port));
    }
}

RawConnection::~RawConnection()
{
    fclose(input);
}

/* When it is closed, the test sees that as it receives. */
void RawConnection::send(const std::string &bytes)
{
    ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

Response RawConnection::receive()
{
    Response response;
    char line[4096];
    if (!fgets(line, sizeof(line), input)) return response;
    response.status = std::stoi(strchr(line, ' '));
    while (fgets(line, sizeof(line), input) && line[0] != '\r')
        append_header(line, 1, strlen(line), &response);
    const std::string length = response.header("content-length");
    response.body.resize(length.empty() ? 0 : std::stoul(length));
    response.body.resize(fread(response.body.data(), 1, response.body.size(), input));
    return response;
}
