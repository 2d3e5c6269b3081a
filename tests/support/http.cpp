#include "tests/support/http.h"

#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
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

struct Curl {
    std::unique_ptr<CURL, void (*)(CURL *)> handle{curl_easy_init(), curl_easy_cleanup};
    std::unique_ptr<curl_slist, void (*)(curl_slist *)> headers{nullptr, curl_slist_free_all};

    CURL *get() const { return handle.get(); }
};

void add_headers(Curl &curl, const std::vector<std::string> &headers)
{
    for (const std::string &header : headers) {
        curl_slist *longer = curl_slist_append(curl.headers.get(), header.c_str());
        static_cast<void>(curl.headers.release());
        curl.headers.reset(longer);
    }
    curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, curl.headers.get());
}

Curl new_request(const HttpClient &client, const std::string &path)
{
    Curl curl;
    const std::string scheme = client.certificate.empty() ? "http" : "https";
    const std::string url = scheme + "://127.0.0.1:" + std::to_string(client.port) + path;
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_CAINFO, client.certificate.c_str());
    if (!client.login.empty()) curl_easy_setopt(curl.get(), CURLOPT_USERPWD, client.login.c_str());
    add_headers(curl, client.headers);
    curl_easy_setopt(curl.get(), CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_PROXY, "");
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, patience_seconds);
    curl_easy_setopt(curl.get(), CURLOPT_HTTP_VERSION,
                     client.http2 ? CURL_HTTP_VERSION_2_PRIOR_KNOWLEDGE : CURL_HTTP_VERSION_1_1);
    return curl;
}

Response perform(const Curl &curl, const std::string &path)
{
    Response response;
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, append_body);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &response);
    curl_easy_setopt(curl.get(), CURLOPT_HEADERFUNCTION, append_header);
    curl_easy_setopt(curl.get(), CURLOPT_HEADERDATA, &response);
    const CURLcode result = curl_easy_perform(curl.get());
    if (result == CURLE_GOT_NOTHING) return response;
    if (result != CURLE_OK) throw std::runtime_error(path + ": " + curl_easy_strerror(result));
    long status = 0;
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    response.status = static_cast<int>(status);
    return response;
}

/* A body on its way: its pieces, with a pause before each. */
struct Source {
    std::deque<std::string> left;
    int pause_ms = 0;
};

size_t read_piece(char *to, size_t size, size_t count, void *from)
{
    Source &source = *static_cast<Source *>(from);
    if (source.left.empty()) return 0;
    usleep(static_cast<useconds_t>(source.pause_ms) * 1000);
    std::string &piece = source.left.front();
    const size_t length = piece.copy(to, size * count);
    piece.erase(0, length);
    if (piece.empty()) source.left.pop_front();
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
    const Curl curl = new_request(*this, path);
    if (method == "HEAD") curl_easy_setopt(curl.get(), CURLOPT_NOBODY, 1L);
    if (method == "POST" || method == "PUT" || !body.empty()) {
        curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.c_str());
    }
    curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, method.c_str());
    return perform(curl, method + " " + path);
}

Response HttpClient::send_slowly(const std::string &method, const std::string &path,
                                 const std::vector<std::string> &pieces, int pause_ms,
                                 const std::string &content_type) const
{
    Curl curl = new_request(*this, path);
    Source body = {{pieces.begin(), pieces.end()}, pause_ms};
    curl_off_t length = 0;
    for (const std::string &piece : pieces) length += static_cast<curl_off_t>(piece.size());
    add_headers(curl, {"Content-Type: " + content_type});
    curl_easy_setopt(curl.get(), CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_INFILESIZE_LARGE, length);
    curl_easy_setopt(curl.get(), CURLOPT_READFUNCTION, read_piece);
    curl_easy_setopt(curl.get(), CURLOPT_READDATA, &body);
    return perform(curl, method + " " + path);
}

Response HttpClient::upload(const std::string &path, const std::vector<Part> &parts,
                            bool length_is_told) const
{
    const Curl curl = new_request(*this, path);
    const std::unique_ptr<curl_mime, void (*)(curl_mime *)> form(curl_mime_init(curl.get()),
                                                                 curl_mime_free);
    std::deque<Source> sources;
    for (const Part &part : parts) {
        curl_mimepart *added = curl_mime_addpart(form.get());
        const auto length = static_cast<curl_off_t>(part.content.size() * part.times);
        sources.push_back({std::deque<std::string>(part.times, part.content)});
        curl_mime_name(added, part.name.c_str());
        if (!part.filename.empty()) curl_mime_filename(added, part.filename.c_str());
        curl_mime_data_cb(added, length_is_told ? length : -1, read_piece, nullptr, nullptr,
                          &sources.back());
    }
    curl_easy_setopt(curl.get(), CURLOPT_MIMEPOST, form.get());
    return perform(curl, "POST " + path);
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
