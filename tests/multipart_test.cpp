/* Multipart bodies, through the body decoder: what they leave in the upload
 * directory and in the parameters, however they are cut into chunks. */
#include "input/multipart.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "input/params.h"
#include "tests/support/module_test.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

const fs::path uploads = "/mnt/data";
const std::string end = "--XyZ--\r\n";

/* The headers of a part, whose disposition has ' for ". */
std::string headers(std::string disposition)
{
    std::replace(disposition.begin(), disposition.end(), '\'', '"');
    return "--XyZ\r\nContent-Disposition: form-data; " + disposition + "\r\n\r\n";
}

std::string part(const std::string &disposition, const std::string &content = "x")
{
    return headers(disposition) + content + "\r\n";
}

std::string field(const std::string &name, const std::string &content = "x")
{
    return part("name='" + name + "'", content);
}

std::string file(const std::string &name, const std::string &filename,
                 const std::string &content = "x")
{
    return part("name='" + name + "'; filename='" + filename + "'", content);
}

class Multipart : public ModuleTest {
protected:
    /* The directory is emptied again and again: it must not be one in use. */
    static void SetUpTestSuite()
    {
        require(fs::is_directory(uploads) && fs::is_empty(uploads), "/mnt/data is there and empty");
    }
    ~Multipart() override { clear(); }

    void clear()
    {
        for (const auto &entry : fs::directory_iterator(uploads)) fs::remove_all(entry);
        begin(HTTP_METHOD_POST, "");
        server_log.clear();
        EXPECT_EQ(open_descriptors(), descriptors);
    }

    handler_t decode(const std::vector<Piece> &pieces, const std::string &boundary = "XyZ")
    {
        return HostedModule::decode(pieces, "multipart/form-data; boundary=" + boundary);
    }

    /* The files, the parameters, and the log lines, each with '|' in front. */
    std::string seen() const
    {
        std::string all = text_of_uploads() + text_of(state->params);
        for (const std::string &line : server_log) all += "|" + line.substr(line.find(": ") + 2);
        return all;
    }

    std::string result_of(const std::vector<Piece> &pieces)
    {
        clear();
        EXPECT_EQ(decode(pieces), HANDLER_GO_ON);
        return seen();
    }
    std::string result_of(const std::string &body) { return result_of(std::vector<Piece>{{body}}); }

    const uint64_t descriptors = open_descriptors();
};

/* In pieces of this length. */
std::vector<Piece> pieces_of(const std::string &body, size_t length)
{
    std::vector<Piece> pieces;
    for (size_t at = 0; at < body.size(); at += length)
        pieces.push_back({body.substr(at, length), at % 3 == 1 ? Piece::OPEN_FILE : Piece::MEMORY});
    return pieces;
}

/* A memory chunk after request headers, as most bodies begin. */
Piece after_headers(const std::string &body)
{
    const std::string front = "POST / HTTP/1.1\r\nX: boundary=XyZ\r\n\r\n";
    return {front + body, Piece::MEMORY, front.size()};
}

const std::string a_file = "|a:x|f=/mnt/data/a";

struct Case {
    const char *title;
    std::string body, result;
};
const Case cases[] = {
    {"a file", file("packageName", "fw.bin", "\1\0\xff\r\n\n\r--"s) + end,
     "|fw.bin:\1\0\xff\r\n\n\r--|packageName=/mnt/data/fw.bin"s},
    {"fields, one of them empty, and a file",
     field("a", "1\r\n2") + field("b", "") + file("f", "a") + field("c", "%41") + end,
     "|a:x|a=1\r\n2|b=|c=%41|f=/mnt/data/a"},
    {"two files", file("f", "a") + file("g", "b", "22") + end,
     "|a:x|b:22|f=/mnt/data/a|g=/mnt/data/b"},
    {"no headers after a file", file("f", "a") + "--XyZ\r\n\r\ny\r\n" + end, a_file},
    {"two files, the second with a shorter name", file("f", "abc") + file("g", "d", "22") + end,
     "|abc:x|d:22|f=/mnt/data/abc|g=/mnt/data/d"},
    {"the same name twice, then the same file",
     field("f") + file("F", "a", "long") + file("g", "a", "2") + end,
     "|a:2|f=/mnt/data/a|g=/mnt/data/a"},
    {"an empty file", file("f", "a", "") + end, "|a:|f=/mnt/data/a"},
    {"no file chosen", file("f", "", "") + end, "|f="},
    {"an empty name", file("", "a") + field("") + end, ""},
    {"no name", part("names; filename='a'") + part("") + end, ""},
    {"no disposition", "--XyZ\r\nContent-Type: name=\"f\"\r\n\r\nx\r\n" + end, ""},
    {"no headers", "--XyZ\r\n\r\nx\r\n" + end, ""},
    {"no headers after a part that has some", field("f") + "--XyZ\r\n\r\ny\r\n" + end, "|f=x"},
    {"filename in front of name", part("filename='b'; name='f'") + end, "|b:x|b=/mnt/data/b"},
    {"one key in the other's text", file("the filename", "a") + end, "|the filename=x"},
    {"unquoted", part("name=f; name='g'") + end, ""},
    {"name's quote left open", part("name='f") + end, ""},
    {"a quote left open after a longer header",
     "--XyZ\r\nX: " + std::string(60, '"') + "\r\n" + part("name='f").substr(7) + end, ""},
    {"filename's quote left open", part("name='f'; filename='a") + end, "|f=x"},
    {"half a key in front", part("nname='f'; fifilename='a'") + end, a_file},
    {"another case", "--XyZ\r\nContent-disposition: name=\"f\"\r\n\r\nx\r\n" + end, ""},
    {"a longer header", "--XyZ\r\nContent-Disposition\0: name=\"f\"\r\n\r\nx\r\n"s + end, ""},
    {"the header's beginning", "--XyZ\r\nContent: name=\"f\"\r\n\r\nx\r\n" + end, "|f=x"},
    {"of two headers the last",
     part("name='f'; filename='a'\r\nContent-Disposition: name='g'") + end, "|g=x"},
    {"another header after", part("name='f'; filename='a'\r\nContent-Type: x; name='g'") + end,
     a_file},
    {"a line without ':' ends the headers", part("name='f'\r\nno colon") + end, "|f=\r\nx"},
    {"and not those of the next part", part("name='f'\r\nno colon") + field("g") + end,
     "|f=\r\nx|g=x"},
    {"'\\r' before the delimiter", file("f", "a", "x\r") + end, "|a:x\r|f=/mnt/data/a"},
    {"no delimiter but its last character", file("f", "a", "x\r\n--XyQ") + end,
     "|a:x\r\n--XyQ|f=/mnt/data/a"},
    {"beginnings of a delimiter", file("f", "a", "\r\r\n\r\n-\r\n--\r\n--X\r\n--Xy\r") + end,
     "|a:\r\r\n\r\n-\r\n--\r\n--X\r\n--Xy\r|f=/mnt/data/a"},
    {"a delimiter after the headers' line end", headers("name='f'") + end + end, "|f=--XyZ--"},
    {"request headers in the content", field("f", "boundary=XyZ\r\n\r\n--XyQ boundary=") + end,
     "|f=boundary=XyZ\r\n\r\n--XyQ boundary="},
    {"something after the end", field("f") + end + field("g"), "|f=x"},
    {"the first line is counted only", "#\r\nXy" + field("f").substr(5) + end, "|f=x"},

    /* A fault ends it: what came before stays, and nothing after is read. */
    {"no '\\n' after a header", file("f", "a") + "--XyZ\r\nA: b\rc\r\n" + field("g") + end,
     a_file + "|Error "},
    {"no '\\n' after the headers", file("f", "a") + "--XyZ\r\n\rx\r\n" + field("g") + end,
     a_file + "|Error "},
    {"text after a delimiter", file("f", "a") + "--XyZ \n" + field("g").substr(7) + end, a_file},
    {"no '\\n' after a delimiter", field("f") + "--XyZ\r " + field("g").substr(7) + end, "|f=x"},
    {"one '-' after a delimiter", field("f") + "--XyZ-\r\n" + field("g") + end, "|f=x"},
    {"ends in the first line", "--Xy", ""},
    {"ends in a header", headers("name='f'; filename='a'").substr(0, 50), ""},
    {"ends after the headers", headers("name='f'; filename='a'"), ""},
    {"ends in a file", headers("name='f'; filename='a'") + "x\r\n--Xy",
     "|a:x\r\n--Xy|f=/mnt/data/a"},
    {"ends in a field", field("g") + headers("name='f'") + "x\r\n--Xy", "|g=x"},
    {"ends after a file's delimiter", file("f", "a") + "--XyZ", a_file},
    {"ends after a field's delimiter", field("f") + "--XyZ", ""},
};

TEST_F(Multipart, GivesTheSameHoweverItIsCut)
{
    size_t cuts = 0;
    for (const auto &[title, body, result] : cases) {
        SCOPED_TRACE(title);
        cuts += body.size() - 1 + 11;
        ASSERT_EQ(result_of(body), result);
        ASSERT_EQ(result_of({after_headers(body)}), result);
        for (size_t at = 1; at < body.size(); ++at) {
            const Piece first = {body.substr(0, at), at % 2 ? Piece::MEMORY : Piece::NAMED_FILE};
            const Piece second = {body.substr(at), at % 4 < 2 ? Piece::MEMORY : Piece::OPEN_FILE};
            ASSERT_EQ(result_of({first, second}), result) << "cut at " << at;
        }
        for (size_t length = 1; length < 12; ++length)
            ASSERT_EQ(result_of(pieces_of(body, length)), result) << "pieces of " << length;
    }
    printf("%zu ways to cut multipart bodies tried\n", cuts);
}

TEST_F(Multipart, StoresNothingOutsideTheDirectory)
{
    const auto beside = std::distance(fs::directory_iterator("/mnt"), {});
    const std::pair<std::string, std::string> names[] = {
        {"C:\\Users\\me\\cert.pem", "cert.pem"},
        {"../../etc/shadow", "shadow"},
        {"a/b\\c/d", "d"},
        {"a\0/../b"s, "a"},
    };
    for (const auto &[filename, name] : names)
        EXPECT_EQ(result_of(file("f", filename) + end), "|" + name + ":x|f=/mnt/data/" + name);
    for (const std::string name : {"...", ".a", "%", "a%2", "..%00", "a%5cb", "a\nb"})
        EXPECT_EQ(result_of(file("f", name) + end), "|" + name + ":x|f=/mnt/data/" + name);
    for (const std::string &filename : {"."s, "a/.."s, "dir\\"s, "dir/"s, "\\.."s, "\0a"s, "%2e"s,
                                        ".%2E"s, "..%2fa"s, "%2Fetc%2Fpasswd"s, "x/%2e%2e"s})
        EXPECT_EQ(result_of(file("f", filename) + field("g") + end), "|g=x");
    EXPECT_EQ(std::distance(fs::directory_iterator("/mnt"), {}), beside);
    EXPECT_EQ(result_of(file("f", "a%41.bin") + end), "|a%41.bin:x|f=/mnt/data/a%41.bin");
    EXPECT_STREQ(get_value(state->params, "f"), "/mnt/data/aA.bin") << "read back decoded";
}

const char *const inside = "/mnt/data/a";
const std::function<int()> obstacles[] = {
    [] { return link("/mnt/data/b", inside); },
    [] { return symlink("/mnt/data/b", inside); },
    [] { return symlink("/mnt/data/none", inside); },
    [] { return mkfifo(inside, 0600); },
};

TEST_F(Multipart, ReplacesWhateverStandsUnderTheName)
{
    for (const auto &put : obstacles) {
        clear();
        std::ofstream(uploads / "b") << "untouched";
        EXPECT_EQ(put(), 0);
        EXPECT_EQ(decode({{file("f", "a", "new") + end}}), HANDLER_GO_ON);
        EXPECT_EQ(seen(), "|a:new|b:untouched|f=/mnt/data/a");
    }
    clear();
    fs::create_directory(inside);
    EXPECT_EQ(decode({{file("f", "a", "new") + end}}), HANDLER_GO_ON);
    EXPECT_EQ(seen(), "|a:(not a file)|f=/mnt/data/a|upload of a failed: Is a directory ");
}

/* The old file cannot be removed; the daemon must not find it in place of the new one. What is no
 * file of its own stays as it is. */
TEST_F(Multipart, EmptiesAFileThatCannotBeReplaced)
{
    const FailingCall failing("unlinkat", 1, true);
    std::ofstream(uploads / "a") << "the old one";
    EXPECT_EQ(decode({{file("f", "a", "new") + end}}), HANDLER_GO_ON);
    EXPECT_EQ(seen(), "|a:new|f=/mnt/data/a");
    for (const auto &put : obstacles) {
        clear();
        std::ofstream(uploads / "b") << "untouched";
        EXPECT_EQ(put(), 0);
        EXPECT_EQ(decode({{file("f", "a", "new") + end}}), HANDLER_GO_ON);
        EXPECT_NE(seen().find("|b:untouched|f=/mnt/data/a|upload of a failed: Permission denied"),
                  std::string::npos)
            << seen();
    }
}

TEST_F(Multipart, LeavesNoHalfOfAFile)
{
    for (const auto &[removable, left] : {std::pair(true, ""), {false, "|a:"}}) {
        clear();
        std::ofstream(uploads / "a") << "the old one";
        room_on_disk = 3;
        const FailingCall failing(removable ? "" : "unlinkat", 1, true);
        EXPECT_EQ(decode({{file("f", "a", "12345") + end}}), HANDLER_GO_ON);
        EXPECT_EQ(seen(), left + "|f=/mnt/data/a|upload of a failed: No space left on device "s);
        room_on_disk = SIZE_MAX;
    }
}

TEST_F(Multipart, TellsOfAFileThatCannotBeStored)
{
    const std::pair<const char *, std::string> faults[] = {
        {"open", "Too many open files"},       {"unlinkat", "Permission denied"},
        {"openat", "No space left on device"}, {"write", "No space left on device"},
        {"close", "Input/output error"},
    };
    for (const auto &[call, reason] : faults) {
        clear();
        const FailingCall failing(call, 1);
        EXPECT_EQ(decode({{file("f", "a") + field("g") + end}}), HANDLER_GO_ON);
        EXPECT_EQ(seen(), "|f=/mnt/data/a|g=x|upload of a failed: " + reason + " ");
    }
}

TEST_F(Multipart, GoesOnAfterAShortWrite)
{
    for (longest_write = 1; longest_write < 4; ++longest_write) {
        interrupted_writes = 2;
        EXPECT_EQ(result_of(file("f", "a", "1234567") + end), "|a:1234567|f=/mnt/data/a");
    }
    longest_write = SIZE_MAX;
}

TEST_F(Multipart, RemovesTheFileWhenTheBodyCannotBeRead)
{
    const std::string begun = file("f", "whole") + headers("name='g'; filename='a'") + "x";
    const FailingCall failing("mmap", 1);
    EXPECT_EQ(decode({{begun}, {"y", Piece::OPEN_FILE}}), HANDLER_ERROR);
    EXPECT_EQ(text_of_uploads(), "|whole:x");
}

TEST_F(Multipart, SkipsRequestHeadersInTheFirstChunkOnly)
{
    /* Taken for a body, they would be a part with a name. */
    const std::string front =
        "POST /?Content-Disposition: name=\"q\" HTTP/1.1\r\nX: boundary=XyZ\r\nA: b\r\n\r\n";
    const std::string body = field("f") + end;
    /* Where the chunk can have no headers, this is a body: its first line is not looked at. */
    const std::string odd = "??XyZ" + field("f", "boundary=\r\n\r\n").substr(5) + end;
    const std::pair<std::vector<Piece>, std::string> cases_of_headers[] = {
        {{{front + body}}, "|f=x"},
        {{{front + body.substr(0, 9)}, {body.substr(9)}}, "|f=x"},
        {{{"--XyQ/?" + front.substr(7) + body}}, "|f=x"}, /* nearly a delimiter */
        {{{"boundary=XyZ\r\n\rA\r\n\r\n" + body}}, "|f=x"},
        {{{"boundary=XyZ\r\n"}, {body}}, "|f=x|Headers end not found "},
        {{after_headers(odd)}, "|f=boundary=\r\n\r\n"},
        {{{odd.substr(0, 9)}, {odd.substr(9)}}, "|f=boundary=\r\n\r\n"},
        {{{odd, Piece::OPEN_FILE}}, "|f=boundary=\r\n\r\n"},
        {{{"??XyZ" + field("f", "boundary\r\n\r\n").substr(5) + end}}, "|f=boundary\r\n\r\n"},
    };
    for (const auto &[pieces, result] : cases_of_headers) EXPECT_EQ(result_of(pieces), result);
}

TEST_F(Multipart, NeedsABoundaryThatCanBeOne)
{
    const std::string longest(4092, 'b');
    const std::pair<std::string, const char *> rows[] = {
        {"", ""}, {"\rXyZ", ""}, {"XyZ\n", ""}, {longest + "b", ""}, {longest, "|f=x"}};
    for (const auto &[boundary, result] : rows) {
        clear();
        decode({{"--" + boundary + field("f").substr(5) + "--" + boundary + "--"}}, boundary);
        EXPECT_EQ(seen(), result);
    }
}

TEST_F(Multipart, CutsWhatIsTooLong)
{
    const std::string x(5000, 'x'), v(65536, 'v'), blanks(12267, ' ');
    const std::string dropped = "|Dropped what exceeds the limits of a form ";
    EXPECT_EQ(
        result_of(file(x, x, "1") + part(blanks + "name='g'") + part(blanks + " name='h'") + end),
        "|g=x|" + x.substr(0, 4095) + "=/mnt/data/" + x.substr(0, 4085) + "|upload of " +
            x.substr(0, 4085) + " failed: File name too long ");
    const std::string body = field("f", v + "v") + field("g", v) + end;
    EXPECT_EQ(result_of({{body.substr(0, 50000), Piece::OPEN_FILE}, {body.substr(50000)}}),
              "|f=" + v + "|g=" + v + dropped);
    /* 262144 bytes of names and values in all. */
    const std::string three = field("f", v) + field("g", v) + field("h", v), last(65532, 'v');
    const std::string stored_three = "|f=" + v + "|g=" + v + "|h=" + v;
    EXPECT_EQ(result_of(three + end), stored_three);
    EXPECT_EQ(result_of(three + field("i", last) + end), stored_three + "|i=" + last);
    EXPECT_EQ(result_of(three + field("i", last + "v") + field("j") + file("k", "a") + end),
              "|a:x" + stored_three + "|j=x|k=/mnt/data/a" + dropped);

    std::string files, fields, stored;
    for (int i = 0; i < 9; ++i) files += file("f", std::to_string(i));
    for (int i = 0; i < 8; ++i) stored += "|" + std::to_string(i) + ":x";
    EXPECT_EQ(result_of(files + field("g") + end), stored + "|f=/mnt/data/7|g=x" + dropped);
    for (int i = 0; i < 1025; ++i) fields += field(std::to_string(i));
    result_of(fields + file("f", "a") + end);
    EXPECT_EQ(state->params->used, 1024u);
    EXPECT_EQ(text_of_uploads(), "") << "no parameter names it";
    EXPECT_EQ(server_log.size(), 1u);
}

TEST_F(Multipart, SaysWhereItStopped)
{
    const auto parse = [this](const std::vector<std::string> &chunks) {
        multipart_parser parser;
        EXPECT_TRUE(multipart_parser_init(&parser, "XyZ"));
        parser.field = state->tmp_buf;
        std::string results;
        for (const std::string &chunk : chunks) {
            results += std::to_string(
                parse_multipart_chunk(nullptr, chunk.data(), chunk.size(), state->params, &parser));
        }
        multipart_parser_finish(&parser, true);
        return results;
    };
    EXPECT_EQ(parse({"--XyZ\r\nA", ": b\rX\r\n", "\r\n"}), "040");
    EXPECT_EQ(parse({"X boundary=XyZ\r\n"}), "1");
    EXPECT_EQ(server_log,
              (std::vector<std::string>{"parse_multipart_chunk.4: Error ",
                                        "parse_multipart_chunk.359: Headers end not found "}));
}

} // namespace
