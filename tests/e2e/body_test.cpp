/* Request bodies as they come over the network, and the connections that they come on. */
#include <unistd.h>

#include "tests/e2e/fixtures.h"

namespace {

const std::string form = "useDefaultAddressPort=true&interface=2&ipAddress=239%2e1.2.3&port=1234x";
const std::string padding = "&x=" + std::string(70000, 'x');

/* The record of that form: a flag, two numbers and a text of 46 bytes; and that of an empty one. */
const std::string form_record = "\1" + u32(2) + text_field("239.1.2.3", 46) + u32(1234);
const std::string absent_record =
    text_field("", 1) + u32(0xFFFFFFFF) + text_field("", 46) + u32(0xFFFFFFFF);

std::string head(const std::string &method, const std::string &path, const std::string &more = "")
{
    return method + " " + path + " HTTP/1.1\r\nHost: test\r\n" + more + "\r\n";
}

std::string put_head(const std::string &path, size_t length)
{
    return head("PUT", path, "Content-Length: " + std::to_string(length) + "\r\n");
}

std::string chunk(const std::string &bytes)
{
    char size[20];
    snprintf(size, sizeof(size), "%zx\r\n", bytes.size());
    return size + bytes + "\r\n";
}

/* With pauses, so that most pieces are read one by one. */
void send_slowly(RawConnection &connection, const std::vector<std::string> &pieces)
{
    for (const std::string &piece : pieces) {
        connection.send(piece);
        usleep(2000);
    }
}

class Bodies : public Exchange {
protected:
    void expect_command(uint32_t command, const std::string &payload)
    {
        const std::vector<Request> requests = daemon.take_requests();
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].command, command);
        EXPECT_EQ(requests[0].payload, payload);
    }

    void expect_written(const Response &response, const std::string &record)
    {
        EXPECT_EQ(response.status, 204);
        EXPECT_EQ(response.own_headers(), std::vector<std::string>{});
        expect_command(sap_set, record);
    }
};

TEST_F(Bodies, InPiecesAndChunks)
{
    RawConnection connection(server->port());
    std::vector<std::string> bytes;
    for (const char c : put_head("/api/sap", form.size()) + form) bytes.push_back({c});
    send_slowly(connection, bytes);
    expect_written(connection.receive(), form_record);
    for (const size_t cut : {1u, 22u, 30u, 60u}) {
        SCOPED_TRACE(cut);
        send_slowly(connection, {head("PUT", "/api/sap", "Transfer-Encoding: chunked\r\n"),
                                 chunk(form.substr(0, cut)), chunk(form.substr(cut)), chunk("")});
        expect_written(connection.receive(), form_record);
    }
}

/* A server that is set to stream bodies goes on before their end. */
TEST_F(Bodies, StreamedByTheServer)
{
    const std::string certificate =
        "--cut\r\nContent-Disposition: form-data; name=\"certificateName\"; filename=\"x.pem\"\r\n"
        "\r\n" +
        std::string(300000, 'x') + "\r\n--cut--\r\n";
    const std::string file = "/mnt/data/x.pem";
    daemon.answer(30, {Step::send(reply(30, 1, text_field("OK", 266)))});
    for (const char *mode : {"0", "1", "2"}) {
        restart(std::string("server.stream-request-body = ") + mode + "\n");
        for (const bool http2 : {false, true}) {
            if (http2 && server_under_test().stock) continue;
            SCOPED_TRACE(std::string(mode) + (http2 ? " HTTP/2" : ""));
            client.http2 = http2;
            client.headers = {};
            for (const size_t cut : {1u, 30u, 70u}) {
                expect_written(
                    client.send_slowly("PUT", "/api/sap", {form.substr(0, cut), form.substr(cut)}),
                    form_record);
            }
            client.headers = {"Content-Type: multipart/form-data; boundary=cut"};
            const Response uploaded =
                client.send_slowly("POST", "/api/security/certificate",
                                   {certificate.substr(0, 900), certificate.substr(900, 120000),
                                    certificate.substr(120900)});
            EXPECT_EQ(uploaded.status, 200);
            EXPECT_TRUE(read_file(file) == std::string(300000, 'x'));
            EXPECT_EQ(unlink(file.c_str()), 0);
            expect_command(30, text_field(file, 4096));
        }
    }
}

/* Also what a form that the server puts into a file becomes: no parameters. */
TEST_F(Bodies, OverBothProtocols)
{
    for (const bool http2 : {false, true}) {
        if (http2 && server_under_test().stock) continue;
        client.http2 = http2;
        expect_written(client.put("/api/sap", form + padding), absent_record);
        expect_written(client.put("/api/sap", form), form_record);
        expect_good_exchange();
        const Response refused = client.request("DELETE", "/api/changes");
        EXPECT_EQ(refused.status, 405);
        EXPECT_EQ(refused.own_headers(), std::vector<std::string>{"allow: GET"});
        daemon.answer_once(uptime_get, {Step::send(reply(uptime_get, 0, ""))});
        expect_failure(client.get("/api/uptime"), 500);
        daemon.take_requests();
    }
}

/* A body that nobody read must not be taken for a request. */
TEST_F(Bodies, ThatNobodyReads)
{
    const std::string smuggled = head("GET", "/api/changes");
    for (const char *path : {"/api/decoder", "/api/channel/start", "/api/uptime", "/api/nothing"}) {
        for (const bool late : {false, true}) {
            SCOPED_TRACE(std::string(path) + (late ? " late" : ""));
            RawConnection connection(server->port());
            connection.send(put_head(path, smuggled.size()) + (late ? "" : smuggled));
            connection.receive();
            connection.send((late ? smuggled : "") + head("GET", "/api/leds"));
            connection.receive();
            for (const Request &request : daemon.take_requests())
                EXPECT_NE(request.command, changes_get);
        }
    }
    expect_good_exchange();
}

} // namespace
