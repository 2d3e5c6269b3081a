/* Files on their way from an HTTP client to the upload directory. */
#include <unistd.h>

#include <random>

#include "tests/e2e/mixed_requests.h"

namespace {

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
