/* Multipart bodies in pieces, against the same body undivided and against a
 * decoder that is as simple as it can be.
 * Input: the content type's end up to a backslash and another character, then
 * the body; from the input's end, the cuts. */
#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>

#include "fuzz/mutator.h"
#include "fuzz/naive.h"
#include "fuzz/support.h"

namespace {

namespace fs = std::filesystem;

/* What a body leaves behind. */
struct Result {
    std::string stored, logged;
    bool operator==(const Result &) const = default;
};

Result result_of(Module &module, const std::vector<Piece> &pieces, const std::string &type)
{
    server_log.clear();
    Result result;
    result.stored = module.decode(pieces, type);
    for (const std::string &line : server_log) result.logged += line.substr(line.find(": ")) + "\n";
    result.stored = text_of_uploads() + result.stored;
    for (const auto &entry : fs::directory_iterator("/mnt/data")) fs::remove(entry);
    return result;
}

bool is_plain(const std::string &boundary)
{
    return !boundary.empty() && std::all_of(boundary.begin(), boundary.end(),
                                            [](unsigned char c) { return std::isalnum(c); });
}

} // namespace

void fuzz_one(FuzzedDataProvider &input)
{
    Module module;
    const std::string type = "multipart/form-data;" + input.ConsumeRandomLengthString();
    const Cuts cuts(input);
    const std::string body = input.ConsumeRemainingBytesAsString();
    const Result whole = result_of(module, {undivided(body)}, type);
    const char *found = strcasestr(type.c_str(), "boundary=");
    const std::string boundary = found ? found + strlen("boundary=") : "";
    constexpr size_t longest = 4000; /* what is cut or refused for its length is left out */
    if (is_plain(boundary) && body.size() < longest)
        require(whole.stored == naive_multipart(body, boundary),
                "it is what the simple decoder makes of it");

    const std::vector<Piece> pieces = cuts.apply(body);
    /* A first chunk can look like request headers unless it begins as a body. */
    const std::string &first = pieces[0].bytes;
    if (cuts.front == Cuts::BODY && first.find("boundary=") != first.npos && found &&
        !first.starts_with("--" + boundary))
        return;
    require(whole == result_of(module, pieces, type), "the cuts change nothing");
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t room, unsigned seed)
{
    const std::string field = "\r\nContent-Disposition: form-data; name=\"";
    return mutate_items(data, size, room, seed, "\r\n--XyZ",
                        {field + "f\"\r\n\r\nx", field + "f\"; filename=\"a\"\r\n\r\n\r\n--Xy",
                         field + "g\"; filename=\"c:\\\\b%2e\"\r\nX: y\r\n\r\nz",
                         field + "\"\r\n\r\n", field + "h\"\r\n\r\n--", "--\r\n", "\r"});
}
