/* The example configuration's TLS, login, and rules for the pages of other sites. */
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "tests/e2e/fixtures.h"
#include "tests/support/sockets.h"

namespace {

const std::string spellings =
    "/api/uptime //api/uptime/ /%61pi/uptime /%2Fapi/uptime /api%2Fuptime /x/../api/uptime?q";

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

    HttpClient client(const std::string &login) const
    {
        return {server->port(), false, pem, login};
    }

    static std::vector<std::string> words(const std::string &text)
    {
        std::istringstream all(text);
        return {std::istream_iterator<std::string>(all), {}};
    }

    /* The client of a row, without the login that nobody has. */
    HttpClient client_of(const Row &row) const
    {
        HttpClient client = {server->port(), false, pem, row[1] == "nobody" ? "" : "admin:right"};
        if (row[1] == "plain") client.port = plain_port, client.certificate = "";
        const std::string host = "127.0.0.1:" + std::to_string(server->port());
        for (size_t i = 4; i < row.size(); ++i)
            client.headers.push_back(std::regex_replace(row[i], std::regex("HOST"), host));
        return client;
    }

    /* Every answer tells browsers to be careful. */
    static void expect_answer(const Response &response, int status, bool is_plain)
    {
        EXPECT_EQ(response.status, status);
        EXPECT_EQ(response.header("www-authenticate").empty(), status != 401);
        EXPECT_EQ(response.header("x-content-type-options"), "nosniff");
        EXPECT_EQ(response.header("content-security-policy"), "frame-ancestors 'none'");
        EXPECT_EQ(response.header("referrer-policy"), "same-origin");
        EXPECT_EQ(response.header("strict-transport-security"), is_plain ? "" : "max-age=31536000");
    }

    /* By every method of the row, on every path. */
    static void expect_answers_to(const HttpClient &client, const Row &row)
    {
        const std::string paths = std::regex_replace(row[3], std::regex("API"), spellings);
        for (const std::string &method : words(row[2])) {
            for (const std::string &path : words(paths)) {
                SCOPED_TRACE(method + " " + path + (client.http2 ? " over HTTP/2" : ""));
                expect_answer(client.request(method, path), std::stoi(row[0]), row[1] == "plain");
            }
        }
    }

    void expect_answers(const std::string &name)
    {
        for (const Row &row : table(name, 4)) {
            SCOPED_TRACE(testing::PrintToString(row));
            HttpClient client = client_of(row);
            expect_answers_to(client, row);
            client.http2 = row[1] != "plain" && !server_under_test().stock;
            if (client.http2) expect_answers_to(client, row);
        }
        EXPECT_LE(daemon.take_requests().size(), 1u) << "more than the version was asked for";
    }

    const bool with_regex;
    FakeDaemon daemon;
    const PrivateDirectory directory;
    const std::string pem = directory.path + "/server.pem", users = directory.path + "/users";
    const int plain_port = free_port();
    std::optional<WebServer> server;
};

TEST_F(Secure, AnswersAsTheTableSays)
{
    expect_answers("secure.txt");
}

struct SecureWithoutRegex : public Secure {
    SecureWithoutRegex() : Secure(false) {}
};

TEST_F(SecureWithoutRegex, AnswersAsTheTableSays)
{
    expect_answers("secure-without-regex.txt");
}

TEST_F(Secure, OnlyALoginReachesTheDaemon)
{
    const std::vector<Part> package = {{"f", "x", std::string(90000, 'x')}};
    EXPECT_EQ(client("").upload("/api/security/certificate", package).status, 401);
    EXPECT_TRUE(daemon.take_requests().empty());
    EXPECT_NE(access("/mnt/data/x", F_OK), 0);
    RawConnection without_tls(server->port());
    without_tls.send("GET /api/uptime HTTP/1.1\r\nHost: test\r\n\r\n");
    EXPECT_NE(without_tls.receive().status, 200);

    daemon.answer(37, {Step::send(reply(37, 1, "\1"))});
    const Response services = client("admin:right").get("/api/services");
    expect_answer(services, 200, false);
    EXPECT_EQ(services.body, "[ {\"discovery\" : true} ]");
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

TEST_F(Secure, PagesWithoutTlsAreSentOn)
{
    const HttpClient plain{plain_port};
    EXPECT_EQ(plain.get("/views/streams.js?a=1").header("location"),
              "https://127.0.0.1:" + std::to_string(plain_port) + "/views/streams.js?a=1");
}

} // namespace
