/* Request bodies as they come over the network, the connections that they come on, and the files
 * that they leave. */
#include <unistd.h>

#include <random>

#include "tests/e2e/mixed_requests.h"

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

constexpr size_t mebi = 1024 * 1024;
const std::string stored = "/mnt/data/x.pem";

/* Bytes of all values, half of them such as make a delimiter. */
std::string image(size_t size)
{
    std::minstd_rand random;
    std::string bytes(size, '\0');
    for (char &c : bytes) {
        const unsigned number = static_cast<unsigned>(random());
        c = number & 256 ? "\r\n--"[number >> 9 & 3] : static_cast<char>(number >> 12);
    }
    return bytes;
}

class Uploads : public Device {
protected:
    void SetUp() override
    {
        ASSERT_EQ(entries_below("/mnt"), 2u) << "this needs a /mnt of its own";
        start();
    }

    /* The file is the only one that is left: the server may remove its temporary files after it
     * has answered. */
    static void expect_installed(const HttpClient &by, const std::string &content)
    {
        const Part field = {"field", "", "no file"}, file = {"certificateName", "x.pem", content};
        const Response response = by.upload("/api/security/certificate", {field, file, field});
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.own_headers(), json_headers);
        EXPECT_EQ(response.body,
                  "[ {\"status\" : \"OK\", \"message\" : \"x.pem is the certificate now.\"} ]");
        EXPECT_TRUE(wait_until([&] { return entries_below("/mnt") == 3; }));
        EXPECT_TRUE(read_file(stored) == content);
        unlink(stored.c_str());
    }
};

TEST_F(Uploads, OfEverySizeInEveryWay)
{
    HttpClient chunked = client, http2 = client;
    chunked.headers = {"Transfer-Encoding: chunked"};
    http2.http2 = true;
    for (const size_t size : {0ul, 1ul, 65000ul, 65536ul, 70000ul, 5 * mebi}) {
        SCOPED_TRACE(size);
        const std::string content = image(size);
        expect_installed(client, content);
        expect_installed(chunked, content);
        if (!server_under_test().stock) expect_installed(http2, content);
    }
    expect_text(get("/api/security"), "'certificateName' : 'x.pem'");
}

TEST_F(Uploads, TakeBoundedMemory)
{
    const auto peak_kib = [&] {
        const std::string process = "/proc/" + std::to_string(server->process_id());
        const std::string status = read_file(process + "/status");
        return std::stol(status.substr(status.find("VmHWM:") + 6));
    };
    const std::string block = image(mebi);
    expect_installed(client, block);
    const long before = peak_kib();
    std::string blocks;
    for (int i = 0; i < 64; ++i) blocks += block;
    expect_installed(client, blocks);
    EXPECT_LT(peak_kib() - before, 8 * 1024);
}

} // namespace
