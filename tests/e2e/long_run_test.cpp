/* What a server has taken after many requests, and has not given back. */
#include <filesystem>

#include "tests/e2e/device.h"

namespace {

constexpr size_t requests_wanted = 200000;

/* Raw bytes, the status of the answer (0 for none), and a text of it. */
struct Exchange {
    std::string request;
    int status;
    const char *text = "";
};

std::string request(const std::string &line, const std::string &body = "",
                    const std::string &headers = "")
{
    return line + " HTTP/1.1\r\nHost: test\r\n" + headers +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string upload(size_t size)
{
    return request("POST /api/security/certificate",
                   "--cut\r\nContent-Disposition: form-data; name=\"certificateName\"; "
                   "filename=\"x.pem\"\r\n\r\n" +
                       std::string(size, 'x') + "\r\n--cut--\r\n",
                   "Content-Type: multipart/form-data; boundary=cut\r\n");
}

/* For connections that stay: everything that leaves one open on every server. */
const std::vector<Exchange> kept = {
    {request("GET /api/uptime"), 200, "uptime"},
    {request("GET /api/stream"), 200, "\"20\""},
    {request("PUT /api/sap", "port=5004&ipAddress=239.1.2.3"), 204},
    {request("GET /api/stream/2"), 200, "\"2\""},
    {request("GET /api/network"), 200, "networkMask"},
    {request("PUT /api/network", "id[0]=1&id[1]=2&ipAddress[1]=10.0.0.2"), 204},
    {request("GET /api/decoder"), 200, "vbianc"},
    {request("POST /api/stream", "name=Cam&port=5000"), 201},
    {request("PUT /api/sap", "port=0"), 400, "\"port\""},
    {request("PUT /api/channel/start"), 204},
    {request("DELETE /api/uptime"), 405},
    {request("GET /index.html"), 307},
    {request("POST /api/login"), 200},
    {request("GET /api/srtStats"), 200, "[ {"},
    {upload(300), 200},
    {request("GET /api/changes"), 200, "software"},
};

/* For a connection each, which they may end. */
std::vector<Exchange> ending()
{
    const int failed = server_under_test().stock ? 0 : 404;
    return {
        {upload(70000), 200},
        {request("GET /api/stream/999"), failed},
        {request("DELETE /api/configuration/999"), failed},
        {request("GET /api/none"), 404},
        {request("POST /api/login", "nobody reads this"), 200},
        {request("GET /api/ports", "", "Connection: close\r\n"), 200},
    };
}

struct LongRun : public Device {
    struct Sample {
        long memory_kib;
        size_t descriptors, files;
    };

    static size_t entries(const std::string &directory)
    {
        const std::filesystem::recursive_directory_iterator all(directory);
        return static_cast<size_t>(std::distance(begin(all), end(all)));
    }

    Sample sample() const
    {
        const std::string process = "/proc/" + std::to_string(server->process_id());
        const std::string status = read_file(process + "/status");
        return {std::stol(status.substr(status.find("VmRSS:") + 6)), entries(process + "/fd"),
                entries("/mnt") + entries(server->root())};
    }

    /* Sends all at once. */
    static void exchange(RawConnection &connection, const std::vector<Exchange> &all)
    {
        std::string requests;
        for (const Exchange &one : all) requests += one.request;
        connection.send(requests);
        for (const Exchange &one : all) {
            const Response response = connection.receive();
            ASSERT_EQ(response.status, one.status) << one.request;
            ASSERT_NE(response.body.find(one.text), std::string::npos) << one.request;
        }
    }
};

TEST_F(LongRun, TakesNoMoreThanItsFirstTenth)
{
    start({"--fast", "--streams", "20"}, "server.errorlog = \"/dev/null\"\n");
    const std::vector<Exchange> others = ending();
    size_t requests = 0, uploads = 0, aborted = 0;
    const Sample idle = sample();
    const auto run = [&](size_t until) {
        while (requests < until && !HasFailure()) {
            RawConnection staying(server->port());
            for (int round = 0; round < 5; ++round) exchange(staying, kept);
            for (const Exchange &one : others) {
                RawConnection connection(server->port());
                exchange(connection, {one});
            }
            for (const size_t part : {100ul, 400ul, 70000ul})
                RawConnection(server->port()).send(upload(100000).substr(0, part));
            requests += 5 * kept.size() + others.size() + 3;
            uploads += 6;
            aborted += 3;
        }
        wait_until([&] { return sample().descriptors == idle.descriptors; });
    };
    run(requests_wanted / 10);
    const Sample before = sample();
    run(requests_wanted);
    const Sample after = sample();
    std::filesystem::remove("/mnt/data/x.pem");
    EXPECT_LE(after.memory_kib, before.memory_kib + 256);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.files, before.files);
    printf(
        "%zu requests, %zu uploads and %zu aborted uploads among them\n%ld and %ld KiB of memory "
        "after the first tenth and at the end, %zu and %zu "
        "descriptors, %zu and %zu files\n",
        requests, uploads, aborted, before.memory_kib, after.memory_kib, before.descriptors,
        after.descriptors, before.files, after.files);
}

} // namespace
