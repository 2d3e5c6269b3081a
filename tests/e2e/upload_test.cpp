/* Files on their way from an HTTP client to the upload directory. */
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "tests/e2e/device.h"

namespace {

constexpr size_t mebi = 1024 * 1024;
const std::string firmware = "/api/general/firmwareUpgrade";
const std::string certificate = "/api/security/certificate";

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

/* By the example configuration all that an upload can leave behind is below /mnt. */
Texts files()
{
    Texts paths;
    for (const auto &entry : std::filesystem::recursive_directory_iterator("/mnt")) {
        if (!entry.is_directory()) paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

/* The server may remove its temporary files after it has answered. */
void expect_files(const Texts &expected)
{
    wait_until([&] { return files() == expected || testing::Test::HasFailure(); });
    EXPECT_EQ(files(), expected);
}

/* There is this file alone. It is removed. */
void expect_stored(const std::string &name, const std::string &content)
{
    const std::string path = "/mnt/data/" + name;
    expect_files({path});
    EXPECT_TRUE(read_file(path) == content) << name;
    unlink(path.c_str());
}

void expect_result(const Response &response, const std::string &result, const std::string &message)
{
    EXPECT_EQ(response.status, result == "OK" ? 200 : 400);
    EXPECT_EQ(response.own_headers(), json_headers);
    EXPECT_EQ(response.body,
              "[ {\"status\" : \"" + result + "\", \"message\" : \"" + message + "\"} ]");
}

void expect_installed(const Response &response, const std::string &name, const std::string &content)
{
    expect_result(response, "OK", name + " is the certificate now.");
    expect_stored(name, content);
}

class Uploads : public Device {
protected:
    void SetUp() override
    {
        ASSERT_EQ(files(), Texts{}) << "this needs a /mnt of its own: run it by private-mounts";
        start({"--upgrade-seconds", "1"});
    }
    void TearDown() override
    {
        Device::TearDown();
        for (const std::string &path : server ? files() : Texts{}) unlink(path.c_str());
    }

    Response upload(const std::string &filename, const std::string &content, size_t times = 1) const
    {
        return client.upload(certificate, {{"certificateName", filename, content, times}});
    }
};

TEST_F(Uploads, OfEverySizeInEveryWay)
{
    const HttpClient http2{server->port(), true};
    const Part field = {"field", "", "no file"};
    for (const size_t size : {0ul, 1ul, 65000ul, 65536ul, 70000ul, 5 * mebi}) {
        SCOPED_TRACE(size);
        const Part file = {"certificateName", "x.pem", image(size)};
        const std::vector<Part> form = {field, file, field};
        expect_installed(client.upload(certificate, form), "x.pem", file.content);
        expect_installed(client.upload(certificate, form, false), "x.pem", file.content);
        if (server_under_test().stock) continue;
        expect_installed(http2.upload(certificate, form), "x.pem", file.content);
    }
    expect_texts(get("/api/security"), {"'certificateName' : 'x.pem'"});
}

/* Firmware with the module in it, which has words of request headers, and what the daemon refuses.
 */
TEST_F(Uploads, AreInstalledOrRefused)
{
    const std::string bad = "BAD" + image(70000);
    const std::string with_module = image(3 * mebi) + read_file(server_under_test().module);
    ASSERT_NE(with_module.find("boundary="), std::string::npos);
    expect_result(upload("x.pem", bad), "ERROR", "The file is damaged.");
    expect_stored("x.pem", bad);
    expect_result(client.upload(firmware, {{"packageName", "fw.bin", with_module}}), "OK",
                  "Installing fw.bin.");
    expect_texts(get("/api/general/upgradeStatus"), {"[ {'status' : 1, "});
    expect_stored("fw.bin", with_module);
    expect_result(ask("POST " + certificate + " certificateName=/mnt/data/y"), "ERROR",
                  "The file /mnt/data/y can't be read: No such file or directory.");
}

TEST_F(Uploads, TakeBoundedMemory)
{
    const auto peak_kib = [&] {
        const std::string process = "/proc/" + std::to_string(server->process_id());
        const std::string status = read_file(process + "/status");
        return std::stol(status.substr(status.find("VmHWM:") + 6));
    };
    const std::string block = image(mebi);
    expect_installed(upload("x.pem", block), "x.pem", block);
    const long before = peak_kib();
    EXPECT_EQ(upload("x.pem", block, 64).status, 200);
    EXPECT_LT(peak_kib() - before, 8 * 1024);
    expect_files({"/mnt/data/x.pem"});
    EXPECT_EQ(std::filesystem::file_size("/mnt/data/x.pem"), 64 * mebi);
    std::ifstream stored("/mnt/data/x.pem");
    for (std::string read(mebi, '\0'); stored.read(read.data(), mebi);) ASSERT_TRUE(read == block);
}

} // namespace
