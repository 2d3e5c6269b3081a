#include "tests/support/http.h"

#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
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

/* A request, its form and what curl knows of its answer. */
class Curl {
public:
    Curl(const HttpClient &client, const std::string &method, const std::string &path);
    ~Curl();
    Curl(const Curl &) = delete;
    Curl &operator=(const Curl &) = delete;

    template <typename Value>
    void set(CURLoption option, Value value)
    {
        curl_easy_setopt(handle, option, value);
    }
    Response perform();

    CURL *const handle = curl_easy_init();
    curl_mime *const form = curl_mime_init(handle);

private:
    const std::string what;
    curl_slist *headers = nullptr;
};

Curl::Curl(const HttpClient &client, const std::string &method, const std::string &path)
    : what(method + " " + path)
{
    const std::string scheme = client.certificate.empty() ? "http" : "https";
    set(CURLOPT_URL, (scheme + "://127.0.0.1:" + std::to_string(client.port) + path).c_str());
    set(CURLOPT_CUSTOMREQUEST, method.c_str());
    set(CURLOPT_CAINFO, client.certificate.c_str());
    if (!client.login.empty()) set(CURLOPT_USERPWD, client.login.c_str());
    for (const std::string &one : client.headers) headers = curl_slist_append(headers, one.c_str());
    set(CURLOPT_HTTPHEADER, headers);
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_PROXY, "");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_TIMEOUT, patience_seconds);
    set(CURLOPT_HTTP_VERSION,
        client.http2 ? CURL_HTTP_VERSION_2_PRIOR_KNOWLEDGE : CURL_HTTP_VERSION_1_1);
}

Curl::~Curl()
{
    curl_slist_free_all(headers);
    curl_mime_free(form);
    curl_easy_cleanup(handle);
}

Response Curl::perform()
{
    Response response;
    set(CURLOPT_WRITEFUNCTION, append_body);
    set(CURLOPT_WRITEDATA, &response);
    set(CURLOPT_HEADERFUNCTION, append_header);
    set(CURLOPT_HEADERDATA, &response);
    const CURLcode result = curl_easy_perform(handle);
    if (result == CURLE_GOT_NOTHING) return response;
    if (result != CURLE_OK) throw std::runtime_error(what + ": " + curl_easy_strerror(result));
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    response.status = static_cast<int>(status);
    return response;
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
    Curl curl(*this, method, path);
    if (method == "HEAD") curl.set(CURLOPT_NOBODY, 1L);
    if (method == "POST" || method == "PUT" || !body.empty()) {
        curl.set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl.set(CURLOPT_POSTFIELDS, body.c_str());
    }
    return curl.perform();
}

Response HttpClient::send_slowly(const std::string &method, const std::string &path,
                                 std::vector<std::string> pieces) const
{
    Curl curl(*this, method, path);
    size_t length = 0;
    for (const std::string &piece : pieces) length += piece.size();
    curl.set(CURLOPT_UPLOAD, 1L);
    curl.set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(length));
    curl.set(CURLOPT_READFUNCTION, read_piece);
    curl.set(CURLOPT_READDATA, &pieces);
    return curl.perform();
}

Response HttpClient::upload(const std::string &path, const std::vector<Part> &parts) const
{
    Curl curl(*this, "POST", path);
    for (const auto &[name, filename, content] : parts) {
        curl_mimepart *const part = curl_mime_addpart(curl.form);
        curl_mime_name(part, name.c_str());
        if (!filename.empty()) curl_mime_filename(part, filename.c_str());
        curl_mime_data(part, content.data(), content.size());
    }
    curl.set(CURLOPT_MIMEPOST, curl.form);
    return curl.perform();
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
