/* Multipart bodies, through the body decoder: what they leave in the upload
 * directory and in the parameters, however they are cut into chunks. */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "input/body.h"
#include "input/multipart.h"
#include "input/params.h"
#include "server/hosting/hosting.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

const fs::path uploads = "/mnt/data";
const fs::path outside = "/tmp/multipart_test.outside";
const std::string end = "--XyZ--\r\n";

std::string headers(const std::string &fields)
{
    return "--XyZ\r\nContent-Disposition: form-data; " + fields + "\r\n\r\n";
}

std::string field(const std::string &name, const std::string &content)
{
    return headers("name=\"" + name + "\"") + content + "\r\n";
}

std::string file(const std::string &name, const std::string &filename, const std::string &content)
{
    return headers("name=\"" + name + "\"; filename=\"" + filename + "\"") + content + "\r\n";
}

std::string text_of(const buffer *b)
{
    return b->used > 0 ? std::string(b->ptr, b->used - 1) : std::string();
}

std::string content_of(const fs::path &path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

size_t open_descriptors()
{
    const fs::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), fs::directory_iterator()));
}

enum Kind { MEMORY, MEMORY_BEHIND_HEADERS, OPEN_FILE, NAMED_FILE };

struct Piece {
    std::string bytes;
    Kind kind;
};

std::string logged;

class Multipart : public testing::Test {
protected:
    /* The directory is emptied again and again: it must not be one in use. */
    static void SetUpTestSuite()
    {
        if (!fs::is_directory(uploads) || !fs::is_empty(uploads)) {
            fprintf(stderr, "%s is not an empty directory\n", uploads.c_str());
            exit(1);
        }
    }

    void SetUp() override
    {
        state.params = array_init();
        state.tmp_buf = buffer_init();
        hosted_log_to([](server *, const char *label, unsigned, const char *text) {
            logged += "|"s + label + ": " + text;
        });
        clear();
    }

    void TearDown() override
    {
        clear();
        EXPECT_EQ(open_descriptors(), descriptors);
        hosted_log_to_fd(STDERR_FILENO);
        buffer_free(state.tmp_buf);
        array_free(state.params);
        hosted_connection_free(con);
    }

    void clear()
    {
        for (const auto &entry : fs::directory_iterator(uploads)) fs::remove_all(entry);
        hosted_connection_reset(con);
        array_reset(state.params);
        logged.clear();
    }

    void append(const Piece &piece)
    {
        static const std::string front = "POST / HTTP/1.1\r\nX: boundary=XyZ\r\n\r\n";
        const std::string &bytes = piece.bytes;
        if (piece.kind == MEMORY) {
            hosted_append_memory(con, bytes);
        } else if (piece.kind == MEMORY_BEHIND_HEADERS) {
            hosted_append_memory(con, front + bytes, front.size());
        } else {
            char path[] = "/tmp/multipart_test.XXXXXX";
            int fd = mkstemp(path);
            EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
            temporary_files.push_back(path);
            if (piece.kind == NAMED_FILE) {
                close(fd);
                fd = -1;
            }
            hosted_append_file(con, path, static_cast<int64_t>(bytes.size()), fd);
        }
    }

    handler_t decode(const std::vector<Piece> &pieces,
                     const std::string &type = "multipart/form-data; boundary=XyZ")
    {
        hosted_add_request_header(con, "Content-Type", type);
        for (const Piece &piece : pieces) {
            if (!piece.bytes.empty()) append(piece);
        }
        con->request.content_length = con->request_content_queue->bytes_in;
        const handler_t result = parse_query_params(nullptr, con, &state);
        hosted_clear_body(con);
        for (const std::string &name : temporary_files) unlink(name.c_str());
        temporary_files.clear();
        return result;
    }

    /* The files as name:content, then the parameters as key=value, each kind in
     * order, then the log lines; all with '|' in front. */
    std::string seen() const
    {
        std::set<std::string> files, params;
        for (const auto &entry : fs::directory_iterator(uploads)) {
            const bool regular = fs::is_regular_file(entry.symlink_status());
            files.insert("|"s + entry.path().filename().string() + ":" +
                         (regular ? content_of(entry) : "(not a file)"));
        }
        for (size_t i = 0; i < state.params->used; ++i) {
            const auto *entry = reinterpret_cast<const data_string *>(state.params->data[i]);
            params.insert("|"s + text_of(entry->key) + "=" + text_of(entry->value));
        }
        std::string all;
        for (const std::string &text : files) all += text;
        for (const std::string &text : params) all += text;
        return all + logged;
    }

    std::string result_of(const std::vector<Piece> &pieces)
    {
        clear();
        EXPECT_EQ(decode(pieces), HANDLER_GO_ON);
        return seen();
    }

    std::string result_of(const std::string &body) { return result_of({{body, MEMORY}}); }

    connection *con = hosted_connection_new();
    plugin_data state = {};
    std::vector<std::string> temporary_files;
    size_t descriptors = open_descriptors();
};

std::vector<Piece> cut_at_random(const std::string &body, std::mt19937 &random)
{
    const Kind kinds[] = {MEMORY, MEMORY, OPEN_FILE, MEMORY_BEHIND_HEADERS};
    std::vector<Piece> pieces;
    const size_t longest = 1 + random() % 40;
    for (size_t at = 0; at < body.size();) {
        const size_t length = 1 + random() % longest;
        pieces.push_back({body.substr(at, length), kinds[random() % (at == 0 ? 4 : 3)]});
        at += length;
    }
    return pieces;
}

struct Case {
    const char *title;
    std::string body;
    std::string result;
};

const Case cases[] = {
    {"a file", file("packageName", "fw.bin", "\1\0\xff\r\n\n\r--"s) + end,
     "|fw.bin:\1\0\xff\r\n\n\r--|packageName=/mnt/data/fw.bin"s},
    {"fields, one of them empty, and a file",
     field("a", "1\r\n2") + field("b", "") + file("f", "a", "x") + field("c", "%41") + end,
     "|a:x|a=1\r\n2|b=|c=%41|f=/mnt/data/a"},
    {"two files", file("f", "a", "1") + file("g", "b", "22") + end,
     "|a:1|b:22|f=/mnt/data/a|g=/mnt/data/b"},
    {"the same name twice, then the same file",
     field("f", "1") + file("F", "a", "long") + file("g", "a", "2") + end,
     "|a:2|f=/mnt/data/a|g=/mnt/data/a"},
    {"an empty file", file("f", "a", "") + end, "|a:|f=/mnt/data/a"},
    {"no file chosen", file("f", "", "") + end, "|f="},
    {"an empty name", file("", "a", "x") + field("", "x") + end, ""},
    {"no name", headers("names; filename=\"a\"") + "x\r\n" + headers("") + "x\r\n" + end, ""},
    {"no disposition", "--XyZ\r\nContent-Type: name=\"f\"\r\n\r\nx\r\n" + end, ""},
    {"no headers", "--XyZ\r\n\r\nx\r\n" + end, ""},
    {"filename in front of name", headers("filename=\"a.bin\"; name=\"f\"") + "x\r\n" + end,
     "|a.bin:x|a.bin=/mnt/data/a.bin"},
    {"one key in the other's text", file("the filename", "a", "x") + end, "|the filename=x"},
    {"unquoted", headers("name=f; name=\"g\"") + "x\r\n" + end, ""},
    {"name's quote left open", headers("name=\"f") + "x\r\n" + end, ""},
    {"filename's quote left open", headers("name=\"f\"; filename=\"a") + "x\r\n" + end, "|f=x"},
    {"half a key in front", headers("nname=\"f\"; fifilename=\"a\"") + "x\r\n" + end,
     "|a:x|f=/mnt/data/a"},
    {"another case of the header", "--XyZ\r\nContent-disposition: name=\"f\"\r\n\r\nx\r\n" + end,
     ""},
    {"a longer header", "--XyZ\r\nContent-Disposition\0: name=\"f\"\r\n\r\nx\r\n"s + end, ""},
    {"the header's beginning",
     "--XyZ\r\nContent: name=\"f\"\r\n\r\nx\r\n--XyZ\r\n:name=\"g\"\r\n\r\ny\r\n" + end,
     "|f=x|g=y"},
    {"of two headers the last",
     headers("name=\"f\"; filename=\"a\"\r\nContent-Disposition: name=\"g\"") + "x\r\n" + end,
     "|g=x"},
    {"a header behind the disposition",
     headers("name=\"f\"; filename=\"a\"\r\nContent-Type: x; name=\"g\"") + "x\r\n" + end,
     "|a:x|f=/mnt/data/a"},
    {"a line without ':' ends the headers", headers("name=\"f\"\r\nno colon") + "x\r\n" + end,
     "|f=\r\nx"},
    {"'\\r' before the delimiter", file("f", "a", "x\r") + end, "|a:x\r|f=/mnt/data/a"},
    {"no delimiter but its last character", file("f", "a", "x\r\n--XyQ") + end,
     "|a:x\r\n--XyQ|f=/mnt/data/a"},
    {"beginnings of a delimiter", file("f", "a", "\r\r\n\r\n-\r\n--\r\n--X\r\n--Xy\r") + end,
     "|a:\r\r\n\r\n-\r\n--\r\n--X\r\n--Xy\r|f=/mnt/data/a"},
    {"a delimiter right behind the headers' line end", headers("name=\"f\"") + end + end,
     "|f=--XyZ--"},
    {"request headers in the content", file("f", "a", "boundary=XyZ\r\n\r\n--XyQ boundary=") + end,
     "|a:boundary=XyZ\r\n\r\n--XyQ boundary=|f=/mnt/data/a"},
    {"something behind the end", field("f", "1") + end + field("g", "2") + end, "|f=1"},
    {"the first line is counted only", "#\r\nXy" + (field("f", "1") + end).substr(5), "|f=1"},

    /* A fault ends it: what came before stays, and nothing behind is read. */
    {"no '\\n' behind a header",
     file("f", "a", "x") + "--XyZ\r\nA: b\rc\r\n" + field("g", "1") + end,
     "|a:x|f=/mnt/data/a|parse_multipart_chunk: Error "},
    {"no '\\n' behind the headers",
     file("f", "a", "x") + "--XyZ\r\n\rx\r\n" + field("g", "1") + end,
     "|a:x|f=/mnt/data/a|parse_multipart_chunk: Error "},
    {"text behind a delimiter", file("f", "a", "x") + "--XyZ \n" + field("g", "1").substr(7) + end,
     "|a:x|f=/mnt/data/a"},
    {"no '\\n' behind a delimiter", field("f", "x") + "--XyZ\r " + field("g", "1").substr(7) + end,
     "|f=x"},
    {"one '-' behind a delimiter", field("f", "x") + "--XyZ-\r\n" + field("g", "1") + end, "|f=x"},
    {"ends in the first line", "--Xy", ""},
    {"ends in a header", headers("name=\"f\"; filename=\"a\"").substr(0, 50), ""},
    {"ends behind the headers", headers("name=\"f\"; filename=\"a\""), ""},
    {"ends in a file", headers("name=\"f\"; filename=\"a\"") + "x\r\n--Xy",
     "|a:x\r\n--Xy|f=/mnt/data/a"},
    {"ends in a field", field("g", "1") + headers("name=\"f\"") + "x\r\n--Xy", "|g=1"},
    {"ends behind a file's delimiter", file("f", "a", "x") + "--XyZ", "|a:x|f=/mnt/data/a"},
    {"ends behind a field's delimiter", field("f", "x") + "--XyZ", ""},
};

TEST_F(Multipart, GivesTheSameHoweverItIsCut)
{
    std::mt19937 random(20);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.title);
        ASSERT_EQ(result_of(c.body), c.result);
        for (size_t at = 1; at < c.body.size(); ++at) {
            const Kind first = at % 2 ? MEMORY : NAMED_FILE;
            const Kind second = at % 4 < 2 ? MEMORY : OPEN_FILE;
            ASSERT_EQ(result_of({{c.body.substr(0, at), first}, {c.body.substr(at), second}}),
                      c.result)
                << "cut at " << at;
        }
        for (int round = 0; round < 50; ++round)
            ASSERT_EQ(result_of(cut_at_random(c.body, random)), c.result) << "round " << round;
    }
}

/* Bodies put together blindly; the undivided one is the measure. */
TEST_F(Multipart, GivesTheSameForAnyBodyHoweverItIsCut)
{
    const std::string tokens[] = {"\r\n--XyZ",
                                  "\r\n--XyZ\r\n",
                                  "\r\n--Xy",
                                  "\r\n",
                                  "\r\n\r\n",
                                  "\r",
                                  "\n",
                                  "--",
                                  ":",
                                  "\"",
                                  "Content-Disposition: name=\"f\"\r\n\r\n",
                                  "Content-Disposition: filename=\"a\"\r\n\r\n"};
    std::mt19937 random(21);
    for (int round = 0; round < 200; ++round) {
        std::string body = headers("name=\"f\"; filename=\"b\"");
        for (size_t count = random() % 24; count > 0; --count)
            body += tokens[random() % std::size(tokens)];
        const std::string undivided = result_of(body);
        for (int cuts = 0; cuts < 5; ++cuts)
            ASSERT_EQ(result_of(cut_at_random(body, random)), undivided) << body;
    }
}

TEST_F(Multipart, StoresNothingOutsideTheDirectory)
{
    const auto beside = std::distance(fs::directory_iterator("/mnt"), {});
    const std::pair<std::string, std::string> cut[] = {{"C:\\Users\\me\\cert.pem", "cert.pem"},
                                                       {"/etc/passwd", "passwd"},
                                                       {"../../etc/shadow", "shadow"},
                                                       {"a/b\\c/d", "d"},
                                                       {"a\0/../b"s, "a"}};
    for (const auto &[filename, name] : cut)
        EXPECT_EQ(result_of(file("f", filename, "x") + end), "|" + name + ":x|f=/mnt/data/" + name);
    for (const std::string name : {"...", ".a", "%", "a%2", "..%00", "a%5cb", "a\nb"})
        EXPECT_EQ(result_of(file("f", name, "x") + end), "|" + name + ":x|f=/mnt/data/" + name);
    for (const std::string &filename : {"."s, "a/.."s, "dir\\"s, "dir/"s, "\\.."s, "\0a"s, "%2e"s,
                                        ".%2E"s, "..%2fa"s, "%2Fetc%2Fpasswd"s, "x/%2e%2e"s})
        EXPECT_EQ(result_of(file("f", filename, "x") + field("g", "1") + end), "|g=1");
    EXPECT_EQ(std::distance(fs::directory_iterator("/mnt"), {}), beside);
}

TEST_F(Multipart, ReadsAFileNameBackDecoded)
{
    EXPECT_EQ(result_of(file("f", "a%41.bin", "x") + end), "|a%41.bin:x|f=/mnt/data/a%41.bin");
    EXPECT_STREQ(get_value(state.params, "f"), "/mnt/data/aA.bin");
}

TEST_F(Multipart, ReplacesWhateverStandsUnderTheName)
{
    const fs::path inside = uploads / "a";
    const std::function<void()> obstacles[] = {
        [&] { std::ofstream(inside) << "longer than the new one"; },
        [&] { fs::create_symlink(outside, inside); },
        [&] { fs::create_symlink("/tmp/multipart_test.none", inside); },
        [&] { EXPECT_EQ(link("/mnt/data/b", inside.c_str()), 0); },
        [&] { EXPECT_EQ(mkfifo(inside.c_str(), 0600), 0); },
        [&] { mknod(inside.c_str(), S_IFCHR | 0600, makedev(1, 7)); }, /* not without the right */
    };
    std::ofstream(outside) << "untouched";
    for (const auto &put : obstacles) {
        clear();
        std::ofstream(uploads / "b") << "untouched";
        put();
        EXPECT_EQ(decode({{file("f", "a", "new") + end, MEMORY}}), HANDLER_GO_ON);
        EXPECT_EQ(seen(), "|a:new|b:untouched|f=/mnt/data/a");
    }
    EXPECT_EQ(content_of(outside), "untouched");
    EXPECT_FALSE(fs::exists("/tmp/multipart_test.none"));
    fs::remove(outside);

    clear();
    fs::create_directory(inside);
    EXPECT_EQ(decode({{file("f", "a", "new") + end, MEMORY}}), HANDLER_GO_ON);
    EXPECT_EQ(seen(),
              "|a:(not a file)|f=/mnt/data/a"
              "|parse_multipart_chunk: upload of a failed: Is a directory ");
}

TEST_F(Multipart, TellsOfAFileThatCannotBeStored)
{
    const struct {
        const char *over; /* where a file system of the test's own goes */
        unsigned long flags;
        const char *options;
        std::string reason;
    } faults[] = {
        {"/mnt/data", 0, "size=64k", "No space left on device"},
        {"/mnt/data", MS_RDONLY, "", "Read-only file system"},
        {"/mnt", 0, "", "No such file or directory"},
    };
    const std::string body = file("f", "a", std::string(100000, 'x')) + field("g", "1") + end;
    for (const auto &fault : faults) {
        clear();
        if (mount("none", fault.over, "tmpfs", fault.flags, fault.options) != 0)
            GTEST_SKIP() << "no right to mount: " << strerror(errno);
        EXPECT_EQ(decode({{body.substr(0, 40000), MEMORY},
                          {body.substr(40000, 40000), OPEN_FILE},
                          {body.substr(80000), MEMORY}}),
                  HANDLER_GO_ON);
        EXPECT_TRUE(!fs::exists(uploads) || fs::is_empty(uploads)) << fault.reason;
        EXPECT_EQ(umount(fault.over), 0);
        EXPECT_EQ(seen(), "|f=/mnt/data/a|g=1|parse_multipart_chunk: upload of a failed: " +
                              fault.reason + " ");
    }
}

TEST_F(Multipart, RemovesTheFileWhenTheBodyCannotBeRead)
{
    append({file("f", "whole", "1") + headers("name=\"g\"; filename=\"a\"") + "x", MEMORY});
    hosted_append_file(con, "/tmp/multipart_test.none", 10);
    EXPECT_EQ(decode({}), HANDLER_ERROR);
    EXPECT_EQ(seen().substr(0, 9), "|whole:1|");
}

TEST_F(Multipart, SkipsRequestHeadersInTheFirstChunkOnly)
{
    const std::string front = "POST / HTTP/1.1\r\nContent-Type: x; boundary=XyZ\r\nA: b\r\n\r\n";
    const std::string body = field("f", "1") + end;
    EXPECT_EQ(result_of(front + body), "|f=1");
    EXPECT_EQ(result_of({{front + body.substr(0, 9), MEMORY}, {body.substr(9), MEMORY}}), "|f=1");
    EXPECT_EQ(result_of({{"boundary=XyZ\r\n", MEMORY}, {body, MEMORY}}),
              "|f=1|parse_multipart_chunk: Headers end not found ");
    /* Where the chunk can have no headers, this is a body: its first line is not looked at. */
    const std::string odd = "??XyZ" + field("f", "boundary=\r\n\r\n").substr(5) + end;
    EXPECT_EQ(result_of({{odd, MEMORY_BEHIND_HEADERS}}), "|f=boundary=\r\n\r\n");
    EXPECT_EQ(result_of({{odd.substr(0, 9), MEMORY}, {odd.substr(9), MEMORY}}),
              "|f=boundary=\r\n\r\n");
    EXPECT_EQ(result_of({{odd, OPEN_FILE}}), "|f=boundary=\r\n\r\n");
}

TEST_F(Multipart, NeedsABoundaryThatCanBeOne)
{
    const std::string longest(4092, 'b');
    const struct {
        std::string boundary;
        const char *result;
    } rows[] = {{"", ""}, {"\rXyZ", ""}, {"XyZ\n", ""}, {longest + "b", ""}, {longest, "|f=1"}};
    for (const auto &[boundary, result] : rows) {
        const std::string body =
            "--" + boundary + field("f", "1").substr(5) + "--" + boundary + "--";
        clear();
        EXPECT_EQ(decode({{body, MEMORY}}, "multipart/form-data; boundary=" + boundary),
                  HANDLER_GO_ON);
        EXPECT_EQ(seen(), result);
    }
    clear();
    EXPECT_EQ(decode({{field("f", "1") + end, MEMORY}}, "multipart/form-data"), HANDLER_GO_ON);
    EXPECT_EQ(seen(), "");
}

TEST_F(Multipart, CutsWhatIsTooLong)
{
    const std::string x(5000, 'x'), v(65536, 'v');
    EXPECT_EQ(result_of(file(x, x, "1") + headers(std::string(20000, ' ') + "name=\"g\"") +
                        "2\r\n" + end),
              "|g=2|" + x.substr(0, 4095) + "=/mnt/data/" + x.substr(0, 4085) +
                  "|parse_multipart_chunk: upload of " + x.substr(0, 4085) +
                  " failed: File name too long ");
    const std::string body = field("f", v + "v") + field("g", v) + end;
    EXPECT_EQ(result_of({{body.substr(0, 50000), OPEN_FILE}, {body.substr(50000), MEMORY}}),
              "|f=" + v + "|g=" + v);

    std::string many;
    for (int i = 0; i < 1030; ++i) {
        const std::string number = std::to_string(i);
        many += file(number, number, "x");
    }
    result_of(many + end);
    EXPECT_EQ(state.params->used, 1024U);
    EXPECT_EQ(std::distance(fs::directory_iterator(uploads), {}), 1024);
}

TEST_F(Multipart, SaysWhereItStopped)
{
    static unsigned line;
    hosted_log_to([](server *, const char *, unsigned at, const char *) { line = at; });
    multipart_parser parser;
    ASSERT_TRUE(multipart_parser_init(&parser, nullptr, state.params, state.tmp_buf, "XyZ"));
    EXPECT_EQ(parse_multipart_chunk(&parser, "--XyZ\r\nA", 8, true), 0);
    EXPECT_EQ(parse_multipart_chunk(&parser, ": b\rX\r\n", 7, false), 4);
    EXPECT_EQ(line, 4U);
    EXPECT_EQ(parse_multipart_chunk(&parser, "\r\n", 2, false), 0);
    multipart_parser_finish(&parser, true);

    ASSERT_TRUE(multipart_parser_init(&parser, nullptr, state.params, state.tmp_buf, "XyZ"));
    EXPECT_EQ(parse_multipart_chunk(&parser, "X boundary=XyZ\r\n", 16, true), 1);
    EXPECT_EQ(line, 359U);
    multipart_parser_finish(&parser, true);
}

} // namespace
