/* Multipart bodies in pieces, against the same body undivided.
 * Input: the content type's end up to a backslash and another character, then
 * the body; from the input's end, the cuts. */
#include <cstring>
#include <filesystem>

#include "fuzz/support.h"

namespace {

namespace fs = std::filesystem;

/* What a body leaves behind. */
std::string result_of(Module &module, const std::vector<Piece> &pieces, const std::string &type)
{
    server_log.clear();
    std::string all = module.decode(pieces, type);
    for (const std::string &line : server_log) all += line.substr(line.find(": ")) + "\n";
    all += text_of_uploads();
    for (const auto &entry : fs::directory_iterator("/mnt/data")) fs::remove(entry);
    return all;
}

} // namespace

void fuzz_one(FuzzedDataProvider &input)
{
    const std::string type = "multipart/form-data;" + input.ConsumeRandomLengthString();
    const Cuts cuts(input);
    const std::string body = input.ConsumeRemainingBytesAsString();
    const std::vector<Piece> pieces = cuts.apply(body);
    Module module;
    const std::string divided = result_of(module, pieces, type);
    /* A first chunk can look like request headers unless it begins as a body. */
    const char *boundary = strcasestr(type.c_str(), "boundary=");
    const std::string &first = pieces[0].bytes;
    if (cuts.front == Cuts::BODY && first.find("boundary=") != first.npos && boundary &&
        !first.starts_with("--" + std::string(boundary + 9)))
        return;
    require(divided == result_of(module, {undivided(body)}, type), "the cuts change nothing");
}
