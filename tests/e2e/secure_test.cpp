/* The example configuration's TLS, login, and rules for the pages of other sites. */
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "tests/e2e/exchange.h"
#include "tests/support/sockets.h"

namespace {

/* What /api answers to DELETE where nothing holds it back: only the module says this, and needs no
 * daemon for it. */
constexpr int reached = 405;
constexpr int refused = 403;

class Secure : public testing::Test {
protected:
    explicit Secure(bool has_regex = true) : with_regex(has_regex) {}

    void SetUp() override
    {
        if (access((server_under_test().own_modules + "/mod_openssl.so").c_str(), F_OK) != 0) {
            GTEST_SKIP() << "this server has no mod_openssl";
        }
        const std::string make_certificate =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj "
            "/CN=appliance -addext subjectAltName=IP:127.0.0.1 -keyout " +
            pem + " -out " + pem + " 2>/dev/null";
        ASSERT_EQ(system(make_certificate.c_str()), 0);
        write_file(users, /* the password: right */
                   "admin:$6$appliance$bWGrLq2oQonzFAlzmWtp90V5/"
                   "UAfcm1j1B6/0gLRdxRHpXlPIKjqWODXagwIs.PnnnCa29vJ3dx2M.NByz0m11\n");
        try {
            server.emplace("include \"" KELTO_DEMO "/lighttpd.conf\"\n" + configuration() +
                           "ssl.pemfile := \"" + pem + "\"\nauth.backend.htpasswd.userfile := \"" +
                           users + "\"\n");
        } catch (const std::runtime_error &error) {
            if (!strstr(error.what(), "without pcre support")) throw;
            GTEST_SKIP() << "this server has no regular expressions";
        }
        host = "127.0.0.1:" + std::to_string(server->port());
        own_origin = "Origin: https://" + host;
    }

    std::string configuration() const
    {
        std::string text = read_file(KELTO_DEMO "/secure.conf");
        const std::string plain = "# $SERVER[\"socket\"] == \"0.0.0.0:80\"";
        text.replace(text.find(plain), plain.size(),
                     "$SERVER[\"socket\"] == \"127.0.0.1:" + std::to_string(plain_port) + "\"");
        if (with_regex) return text;
        text.erase(text.find("# From here on, a server without regular expressions"));
        EXPECT_EQ(text.find("~ \""), std::string::npos);
        return text + read_file(KELTO_DEMO "/secure-without-regex.conf");
    }

    HttpClient client(const std::string &login, const std::vector<std::string> &headers = {},
                      bool http2 = false) const
    {
        return {server->port(), http2, pem, login, headers};
    }

    void expect_status(int status, const std::string &path, const std::vector<std::string> &headers,
                       const std::string &method = "DELETE")
    {
        for (const bool http2 : {false, true}) {
            if (http2 && server_under_test().stock) continue;
            const Response response = client("admin:right", headers, http2).request(method, path);
            EXPECT_EQ(response.status, status)
                << method << " " << path << (http2 ? " over HTTP/2 " : " ")
                << testing::PrintToString(headers);
        }
    }

    const bool with_regex;
    FakeDaemon daemon;
    const PrivateDirectory directory;
    const std::string pem = directory.path + "/server.pem", users = directory.path + "/users";
    const int plain_port = free_port();
    std::string host, own_origin;
    std::optional<WebServer> server;
};

const std::vector<std::string> api_paths = {"/api/uptime",   "//api/uptime/",
                                            "/%61pi/uptime", "/%2Fapi/uptime",
                                            "/api%2Fuptime", "/x/../api/uptime?q"};

TEST_F(Secure, OnlyALoginReachesTheDaemon)
{
    const HttpClient reader = client(""), user = client("admin:right");
    std::vector<std::string> paths = api_paths;
    paths.insert(paths.end(), {"/api/stream/7", "/api", "/api/none"});
    for (const std::string &path : paths) {
        for (const char *method : {"GET", "PUT", "POST", "DELETE", "HEAD", "OPTIONS"}) {
            const Response response = reader.request(method, path);
            EXPECT_EQ(response.status, 401) << method << " " << path;
            EXPECT_NE(response.header("www-authenticate"), "");
        }
    }
    EXPECT_EQ(
        reader.upload("/api/security/certificate", {{"f", "x", std::string(90000, 'x')}}).status,
        401);
    EXPECT_TRUE(daemon.take_requests().empty());
    EXPECT_NE(access("/mnt/data/x", F_OK), 0);

    EXPECT_EQ(reader.get("/index.html").header("location"), "/vrel5/index.html");
    EXPECT_EQ(reader.get("/vrel5/index.html").status, 200);
    daemon.answer(37, {Step::send(reply(37, 1, "\1"))});
    EXPECT_EQ(user.get("/api/services").body, "[ {\"discovery\" : true} ]");
    EXPECT_EQ(user.put("/api/none", "").status, 404);
    const std::vector<Request> requests = daemon.take_requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].command, general_get);
    EXPECT_EQ(requests[1].command, 37u);
}

/* The log line is what a watcher of the log goes by. */
TEST_F(Secure, AWrongPasswordIsLoggedAndEndsTheConnection)
{
    for (const char *login : {"admin:wrong", "nobody:right", "admin:"}) {
        const Response response = client(login).get("/api/uptime");
        EXPECT_EQ(response.status, 401) << login;
        EXPECT_EQ(response.header("connection"), server_under_test().stock ? "" : "close") << login;
    }
    EXPECT_EQ(client("admin:right").request("DELETE", "/api/uptime").header("connection"), "");
    const std::string log = server->log();
    const std::string ip = server_under_test().stock ? ", IP: 127.0.0.1" : " IP: 127.0.0.1";
    for (const char *user : {"admin", "nobody"}) {
        const std::string line = "password doesn't match for /api/uptime username: ";
        EXPECT_NE(log.find(line + user + ip), std::string::npos) << log;
    }
}

TEST_F(Secure, BrowsersAreLetInFromOwnPagesOnly)
{
    const std::string other_port = "Origin: https://127.0.0.1:" + std::to_string(plain_port);
    const std::pair<int, std::vector<std::string>> cases[] = {
        {reached, {}},
        {reached, {"Sec-Fetch-Site: same-origin"}},
        {reached, {"Sec-Fetch-Site: none"}},
        {reached, {"Sec-Fetch-Site: same-origin", own_origin}},
        {reached, {own_origin}},
        {reached, {"Host: decoder.example", "Origin: https://decoder.example"}},
        {reached, {"Host: DECODER.example:8443", "Origin: https://decoder.example:8443"}},
        {refused, {"Sec-Fetch-Site: cross-site"}},
        {refused, {"Sec-Fetch-Site: same-site"}},
        {refused, {"Sec-Fetch-Site: cross-site", own_origin}},
        {refused, {"Sec-Fetch-Site: Same-Origin"}},
        {refused, {"Sec-Fetch-Site: same-origin, cross-site"}},
        {refused, {"Sec-Fetch-Site: same-origin", "Sec-Fetch-Site: cross-site"}},
        {refused, {"Sec-Fetch-Site: xnone"}},
        {refused, {"SEC-FETCH-SITE: cross-site"}},
        {refused, {"Origin: https://other.example"}},
        {refused, {"Origin: http://" + host}},
        {refused, {"Origin: https://127.0.0.1"}},
        {refused, {other_port}},
        {refused, {own_origin + "0"}},
        {refused, {own_origin + ".other.example"}},
        {refused, {own_origin, "Origin: https://other.example"}},
        {refused, {"Origin: xhttps://" + host}},
        {refused, {"Origin: null"}},
        {refused, {"Origin: =", "Host: decoder.example"}},
    };
    for (const auto &[status, headers] : cases) expect_status(status, "/api/uptime", headers);
    EXPECT_TRUE(daemon.take_requests().size() <= 1); /* for the version */
}

TEST_F(Secure, NoSpellingOfThePathGetsAround)
{
    for (const std::string &path : api_paths) {
        expect_status(reached, path, {});
        expect_status(reached, path, {own_origin});
        expect_status(refused, path, {"Sec-Fetch-Site: cross-site"});
        expect_status(refused, path, {"Origin: https://other.example"});
    }
    for (const char *method : {"GET", "HEAD", "POST", "PUT", "OPTIONS"}) {
        expect_status(refused, "/api/stream", {"Sec-Fetch-Site: cross-site"}, method);
    }
    /* A query in the form that the rules use. */
    const std::string query = "?https://other.example=https://other.example";
    expect_status(refused, "/api/uptime" + query, {"Origin: https://other.example"});
    /* Links from elsewhere lead to the pages. */
    expect_status(200, "/vrel5/index.html", {"Sec-Fetch-Site: cross-site"}, "GET");
    expect_status(200, "/vrel5/index.html", {"Origin: https://other.example"}, "GET");
}

TEST_F(Secure, EveryAnswerHasTheHeaders)
{
    daemon.answer(37, {Step::send(reply(37, 1, "\1"))});
    const std::pair<int, Response> cases[] = {
        {200, client("admin:right").get("/api/services")},
        {405, client("admin:right").request("DELETE", "/api/services")},
        {401, client("").get("/api/services")},
        {403, client("", {"Sec-Fetch-Site: cross-site"}).get("/api/services")},
        {307, client("").get("/index.html")},
        {200, client("").get("/vrel5/index.html")},
        {404, client("").get("/vrel5/none")},
    };
    for (const auto &[status, response] : cases) {
        EXPECT_EQ(response.status, status);
        EXPECT_EQ(response.header("x-content-type-options"), "nosniff") << status;
        EXPECT_EQ(response.header("content-security-policy"), "frame-ancestors 'none'") << status;
        EXPECT_EQ(response.header("referrer-policy"), "same-origin") << status;
        EXPECT_EQ(response.header("strict-transport-security"), "max-age=31536000") << status;
    }
}

TEST_F(Secure, TheLoginIsForTlsOnly)
{
    const HttpClient plain{plain_port, false, "", "admin:right"};
    const Response response = plain.get("/views/streams.js?a=1");
    EXPECT_EQ(response.status, 301);
    EXPECT_EQ(response.header("location"),
              "https://127.0.0.1:" + std::to_string(plain_port) + "/views/streams.js?a=1");
    EXPECT_EQ(response.header("strict-transport-security"), "");
    for (const std::string &path : api_paths) {
        for (const char *method : {"GET", "PUT"}) {
            const Response api = plain.request(method, path);
            EXPECT_EQ(api.status, refused) << method << " " << path;
            EXPECT_EQ(api.header("www-authenticate"), "");
        }
    }
    EXPECT_TRUE(daemon.take_requests().empty());
    RawConnection untold(server->port());
    untold.send("GET /api/uptime HTTP/1.1\r\nHost: test\r\n\r\n");
    EXPECT_NE(untold.receive().status, 200);
}

/* The rules for servers without regular expressions: any server takes them. */
struct SecureWithoutRegex : public Secure {
    SecureWithoutRegex() : Secure(false) {}
};

TEST_F(SecureWithoutRegex, BrowsersAreLetInFromOwnPagesAndByLinks)
{
    const std::string cross = "Sec-Fetch-Site: cross-site", link = "Sec-Fetch-Mode: navigate";
    expect_status(reached, "/api/uptime", {});
    expect_status(reached, "/api/uptime", {"Sec-Fetch-Site: same-origin"});
    expect_status(reached, "/api/uptime", {"Sec-Fetch-Site: none", link});
    expect_status(reached, "/api/uptime", {"Origin: https://decoder.example"});
    for (const std::string &path : api_paths) {
        expect_status(refused, path, {cross});
        expect_status(refused, path, {cross, link});
        expect_status(refused, path, {"Sec-Fetch-Site: same-site"}, "GET");
        expect_status(refused, path, {"Origin: https://other.example"});
        expect_status(refused, path, {"Origin: null"});
    }
    expect_status(reached, "/api/stream/select/1", {cross, link}, "GET");
    expect_status(refused, "/api/stream", {cross, link}, "POST");
    expect_status(200, "/vrel5/index.html", {cross, link}, "GET");
    EXPECT_EQ((HttpClient{plain_port, false, "", "admin:right"}.get("/index.html").status), 403);
    const Response stranger = client("").get("/api/services");
    EXPECT_EQ(stranger.status, 401);
    EXPECT_EQ(stranger.header("content-security-policy"), "frame-ancestors 'none'");
}

} // namespace
