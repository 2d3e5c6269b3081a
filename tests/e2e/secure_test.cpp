/* The example configuration's TLS and login. */
#include <unistd.h>

#include "tests/e2e/exchange.h"

namespace {

TEST(Secure, OnlyALoginReachesTheDaemon)
{
    if (access((server_under_test().own_modules + "/mod_openssl.so").c_str(), F_OK) != 0) {
        GTEST_SKIP() << "this server has no mod_openssl";
    }
    const PrivateDirectory directory;
    const std::string pem = directory.path + "/server.pem", users = directory.path + "/users";
    Process openssl({"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                     "ec_paramgen_curve:prime256v1", "-nodes", "-subj", "/CN=appliance", "-addext",
                     "subjectAltName=IP:127.0.0.1", "-keyout", pem, "-out", pem},
                    directory.path + "/log");
    ASSERT_TRUE(wait_until([&] { return !openssl.running(); }));
    write_file(users, /* the password: right */
               "admin:$6$appliance$bWGrLq2oQonzFAlzmWtp90V5/"
               "UAfcm1j1B6/0gLRdxRHpXlPIKjqWODXagwIs.PnnnCa29vJ3dx2M.NByz0m11\n");
    FakeDaemon daemon;
    const WebServer server("include \"" KELTO_DEMO "/lighttpd.conf\"\ninclude \"" KELTO_DEMO
                           "/secure.conf\"\nssl.pemfile := \"" +
                           pem + "\"\nauth.backend.htpasswd.userfile := \"" + users + "\"\n");

    const HttpClient reader{server.port(), false, pem};
    for (const char *path : {"/api/uptime", "//api/uptime/", "/%61pi/uptime", "/x/../api/uptime",
                             "/api/stream/7", "/api", "/api/none"}) {
        for (const char *method : {"GET", "PUT", "POST", "DELETE", "HEAD", "OPTIONS"}) {
            const Response refused = reader.request(method, path);
            EXPECT_EQ(refused.status, 401) << method << " " << path;
            EXPECT_NE(refused.header("www-authenticate"), "");
        }
    }
    for (const char *login : {"admin:wrong", "nobody:right", "admin:"}) {
        const HttpClient stranger{server.port(), false, pem, login};
        EXPECT_EQ(stranger.get("/api/uptime").status, 401) << login;
    }
    EXPECT_EQ(reader.upload("/api/security/certificate", {{"f", "x", "pem", 30000}}).status, 401);
    EXPECT_TRUE(daemon.take_requests().empty());
    EXPECT_NE(access("/mnt/data/x", F_OK), 0);

    const HttpClient user{server.port(), false, pem, "admin:right"};
    EXPECT_EQ(reader.get("/index.html").header("location"), "/vrel5/index.html");
    EXPECT_EQ(reader.get("/vrel5/index.html").status, 200);
    daemon.answer(37, {Step::send(reply(37, 1, "\1"))});
    EXPECT_EQ(user.get("/api/services").body, "[ {\"discovery\" : true} ]");
    EXPECT_EQ(user.put("/api/none", "").status, 404);
    const std::vector<Request> requests = daemon.take_requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].command, general_get);
    EXPECT_EQ(requests[1].command, 37u);
    RawConnection plain(server.port());
    plain.send("GET /api/uptime HTTP/1.1\r\nHost: test\r\n\r\n");
    EXPECT_NE(plain.receive().status, 200);
}

} // namespace
