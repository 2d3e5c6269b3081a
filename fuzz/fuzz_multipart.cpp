/* Multipart bodies in pieces, against the same body undivided. The upload
 * directory is in memory here.
 * Input: the content type's end up to a backslash and another character, then
 * the body; from the input's end, the cuts. */
#include <cstring>
#include <map>

#include "fuzz/support.h"
#include "input/upload_file.h"

namespace {

std::map<std::string, std::string> files;
std::string open_name;
std::string logged;

/* What a body leaves behind. */
std::string seen(const std::vector<Piece> &pieces, const std::string &type)
{
    files.clear();
    logged.clear();
    std::string all = decode(pieces, type) + logged;
    require(open_name.empty(), "every file is closed");
    for (const auto &[name, content] : files)
        all.append(name).append(":").append(content).append("\n");
    return all;
}

} // namespace

int upload_open(UploadFile *file, const char *name)
{
    const std::string_view text = name;
    require(!text.empty() && text != "." && text != ".." && text.find('/') == text.npos &&
                text.size() <= 4085,
            "a file stays in the directory");
    require(open_name.empty(), "files are written one by one");
    files[name].clear();
    open_name = name;
    *file = {0, 0, name};
    return 0;
}

int upload_write(UploadFile *file, const char *data, size_t length)
{
    if (file->fd == -1) return 0;
    require(open_name == file->name, "the name stays in place");
    files[open_name].append(data, length);
    return 0;
}

int upload_close(UploadFile *file)
{
    if (file->fd != -1) open_name.clear();
    *file = NO_UPLOAD;
    return 0;
}

void upload_discard(UploadFile *file)
{
    if (file->fd != -1) files.erase(open_name);
    upload_close(file);
}

void fuzz_one(FuzzedDataProvider &input)
{
    hosted_log_to([](server *, const char *, unsigned, const char *text) { logged += text; });
    const std::string type = "multipart/form-data;" + input.ConsumeRandomLengthString();
    const Cuts cuts(input);
    const std::string body = input.ConsumeRemainingBytesAsString();
    const std::vector<Piece> pieces = cuts.apply(body);
    const std::string divided = seen(pieces, type);
    /* A first chunk can look like request headers unless it begins as a body. */
    const char *boundary = strcasestr(type.c_str(), "boundary=");
    const std::string &first = pieces[0].bytes;
    if (cuts.front == Cuts::BODY && first.find("boundary=") != first.npos && boundary &&
        !first.starts_with("--" + std::string(boundary + 9)))
        return;
    require(divided == seen({undivided(body)}, type), "the cuts change nothing");
}
