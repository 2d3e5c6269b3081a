/* Requests of all kinds to the simulated daemon with prepared replies, and what a server has taken
 * for them. */
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/e2e/fixtures.h"

/* Raw bytes, the status of the answer (0 for none), and a text of it. */
struct HttpRequest {
    std::string request;
    int status;
    std::string text = "";
};

inline std::string request(const std::string &line, const std::string &body = "",
                           const std::string &headers = "")
{
    return line + " HTTP/1.1\r\nHost: test\r\n" + headers +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

inline std::string upload(size_t size)
{
    return request("POST /api/security/certificate",
                   "--cut\r\nContent-Disposition: form-data; name=\"certificateName\"; "
                   "filename=\"x.pem\"\r\n\r\n" +
                       std::string(size, 'x') + "\r\n--cut--\r\n",
                   "Content-Type: multipart/form-data; boundary=cut\r\n");
}

/* The requests of mixed.txt that leave the connection open, or those that need one each. */
inline std::vector<HttpRequest> requests_with(bool staying)
{
    std::vector<HttpRequest> requests;
    for (const Row &row : table("mixed.txt", 6)) {
        if ((row[0] == "stays") != staying) continue;
        const bool fails = row[0] == "fails" && server_under_test().stock;
        const std::string headers = row[5].empty() ? "" : row[5] + "\r\n";
        requests.push_back(
            {row[1] == "UPLOAD" ? upload(std::stoul(row[3])) : request(row[1], row[3], headers),
             fails ? 0 : std::stoi(row[2]), row[4]});
    }
    return requests;
}

inline const std::vector<HttpRequest> &kept()
{
    static const std::vector<HttpRequest> requests = requests_with(true);
    return requests;
}

inline const std::vector<HttpRequest> &ending()
{
    static const std::vector<HttpRequest> requests = requests_with(false);
    return requests;
}

/* Sends them all at once, or one after the other. Returns their number; throws std::runtime_error
 * where an answer does not come, or another one. */
inline size_t exchange(int port, const std::vector<HttpRequest> &all, bool at_once = true)
{
    RawConnection connection(port);
    std::string requests;
    for (const HttpRequest &one : all) requests += one.request;
    if (at_once) connection.send(requests);
    for (const auto &[asked, status, text] : all) {
        if (!at_once) connection.send(asked);
        const Response response = connection.receive();
        const std::string what = asked.substr(0, asked.find(" HTTP")) + ": " +
                                 std::to_string(response.status) + " " +
                                 response.body.substr(0, 200);
        if (response.status != status) throw std::runtime_error(what);
        EXPECT_NE(response.body.find(text), std::string::npos) << what;
    }
    return all.size();
}

inline size_t exchange_one_by_one(int port, const std::vector<HttpRequest> &all)
{
    for (const HttpRequest &one : all) exchange(port, {one});
    return all.size();
}

/* Three of them. */
inline void break_off_uploads(int port)
{
    for (const size_t part : {100ul, 400ul, 70000ul})
        RawConnection(port).send(upload(100000).substr(0, part));
}

inline size_t entries_below(const std::string &directory)
{
    const std::filesystem::recursive_directory_iterator all(directory);
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

struct Taken {
    long memory_kib;
    size_t descriptors, files;
};

inline Taken taken_by(const WebServer &server)
{
    const std::string process = "/proc/" + std::to_string(server.process_id());
    const std::string status = read_file(process + "/status");
    return {std::stol(status.substr(status.find("VmRSS:") + 6)), entries_below(process + "/fd"),
            entries_below("/mnt") + entries_below(server.root())};
}

/* What is taken when the clients are gone, which the server may see late. */
inline Taken settled(const WebServer &server)
{
    Taken taken = {};
    int same = 0;
    wait_until([&] {
        const Taken before = std::exchange(taken, taken_by(server));
        const bool stays = before.descriptors == taken.descriptors && before.files == taken.files;
        same = stays ? same + 1 : 0;
        return same == 20;
    });
    return taken;
}
