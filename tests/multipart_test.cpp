/* Multipart bodies, through the body decoder: what they leave in the upload
 * directory and in the parameters, however they are cut into chunks. */
#include "input/multipart.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "input/params.h"
#include "tests/support/module_test.h"
#include "tests/support/table.h"

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

    /* What a body leaves: the files, the parameters, and the log lines, each with '|' in front. */
    std::string result_of(const std::vector<Piece> &pieces, const std::string &boundary = "XyZ",
                          handler_t result = HANDLER_GO_ON)
    {
        EXPECT_EQ(decode(pieces, "multipart/form-data; Boundary=" + boundary), result);
        std::string all = text_of_uploads() + text_of(state->params);
        for (const std::string &line : server_log) all += "|" + line.substr(line.find(": ") + 2);
        clear();
        return all;
    }
    std::string result_of(const std::string &body) { return result_of(std::vector<Piece>{{body}}); }

    const uint32_t descriptors = open_descriptors();
};

/* A title, a body, and what it leaves. */
struct Case {
    std::string title, body, result;
};

std::vector<Case> cases_of_multipart_txt()
{
    std::vector<Case> cases;
    std::string body; /* with a line end in front */
    std::ifstream file(KELTO_TABLES "/multipart.txt");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("== ")) {
            cases.push_back({line.substr(3), "", ""});
            body.clear();
        } else if (line.starts_with("=>") && !cases.empty()) {
            cases.back().body = body.substr(strlen("\r\n"));
            cases.back().result = unescaped(line.substr(std::min(line.size(), size_t(3))));
        } else {
            body += "\r\n" + unescaped(line);
        }
    }
    return cases;
}

TEST_F(Multipart, GivesTheSameHoweverItIsCut)
{
    size_t cuts = 0;
    for (const auto &[title, body, result] : cases_of_multipart_txt()) {
        SCOPED_TRACE(title);
        cuts += body.size();
        ASSERT_EQ(result_of(body), result);
        for (size_t at = 1; at < body.size(); ++at) {
            const Piece first = {body.substr(0, at), at % 2 ? Piece::MEMORY : Piece::NAMED_FILE};
            const Piece second = {body.substr(at), at % 4 < 2 ? Piece::MEMORY : Piece::OPEN_FILE};
            ASSERT_EQ(result_of({first, second}), result) << "cut at " << at;
        }
        std::vector<Piece> bytes;
        for (const char c : body) bytes.push_back({{c}});
        ASSERT_EQ(result_of(bytes), result) << "cut everywhere";
    }
    EXPECT_GT(cuts, 3000u);
    printf("%zu ways to cut multipart bodies tried\n", cuts);
}

TEST_F(Multipart, StoresNothingOutsideTheDirectory)
{
    const auto beside = std::distance(fs::directory_iterator("/mnt"), {});
    for (const Row &row : table("filenames.txt", 2)) {
        const std::string name = unescaped(row[1]);
        const std::string body = file("f", unescaped(row[0])) + field("g") + end;
        EXPECT_EQ(result_of(body),
                  name.empty() ? "|g=x" : "|" + name + ":x|f=/mnt/data/" + name + "|g=x")
            << row[0];
    }
    EXPECT_EQ(std::distance(fs::directory_iterator("/mnt"), {}), beside);
    EXPECT_EQ(result_of(file("f", "a%41.bin") + end), "|a%41.bin:x|f=/mnt/data/a%41.bin");
    EXPECT_STREQ(get_value(state->params, "f"), "/mnt/data/aA.bin") << "read back decoded";
}

/* Where it cannot be removed, it stays as it is. */
TEST_F(Multipart, ReplacesWhateverStandsUnderTheName)
{
    const char *const inside = "/mnt/data/a";
    const std::function<int()> obstacles[] = {
        [&] { return link("/mnt/data/b", inside); },
        [&] { return symlink("/mnt/data/b", inside); },
        [&] { return symlink("/mnt/data/none", inside); },
        [&] { return mkfifo(inside, 0600); },
    };
    const std::vector<Piece> body = {{file("f", "a", "new") + end}};
    const auto with_obstacle = [&](const auto &put) {
        std::ofstream(uploads / "b") << "untouched";
        EXPECT_EQ(put(), 0);
        return result_of(body);
    };
    for (const auto &put : obstacles)
        EXPECT_EQ(with_obstacle(put), "|a:new|b:untouched|f=/mnt/data/a");
    fs::create_directory(inside);
    EXPECT_EQ(result_of(body), "|a:(not a file)|f=/mnt/data/a|upload of a failed: Is a directory ");

    const FailingCall failing("unlinkat", 1, true);
    const std::string denied = "|b:untouched|f=/mnt/data/a|upload of a failed: Permission denied ";
    for (const auto &put : obstacles) {
        const std::string result = with_obstacle(put);
        EXPECT_EQ(result.substr(result.find("|b:")), denied);
    }
}

/* An old file that cannot be removed is emptied: the daemon must not find it in place of the new
 * one. */
TEST_F(Multipart, TellsOfAFileThatCannotBeStoredAndLeavesNoHalfOfIt)
{
    const std::string stored = "|f=/mnt/data/a|g=x", failed = stored + "|upload of a failed: ";
    const std::tuple<const char *, bool, size_t, std::string> faults[] = {
        {"open", false, SIZE_MAX, "|a:the old one" + failed + "Too many open files "},
        {"openat", false, SIZE_MAX, failed + "No space left on device "},
        {"write", false, SIZE_MAX, failed + "No space left on device "},
        {"close", false, SIZE_MAX, failed + "Input/output error "},
        {"", false, 3, failed + "No space left on device "},
        {"unlinkat", true, 3, "|a:" + failed + "No space left on device "},
        {"unlinkat", true, SIZE_MAX, "|a:12345" + stored},
    };
    for (const auto &[call, from_then_on, room, result] : faults) {
        std::ofstream(uploads / "a") << "the old one";
        room_on_disk = room;
        const FailingCall failing(call, 1, from_then_on);
        EXPECT_EQ(result_of(file("f", "a", "12345") + field("g") + end), result) << call;
    }
    room_on_disk = SIZE_MAX;
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
    const std::string result = result_of({{begun}, {"y", Piece::OPEN_FILE}}, "XyZ", HANDLER_ERROR);
    EXPECT_EQ(result.substr(0, result.find("|f=")), "|whole:x");
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
        {{{"X: boundary=XyZ\r\n\r\n" + odd, Piece::MEMORY, 19}}, "|f=boundary=\r\n\r\n"},
        {{{odd.substr(0, 9)}, {odd.substr(9)}}, "|f=boundary=\r\n\r\n"},
        {{{odd, Piece::OPEN_FILE}}, "|f=boundary=\r\n\r\n"},
        {{{"??XyZ" + field("f", "boundary\r\n\r\n").substr(5) + end}}, "|f=boundary\r\n\r\n"},
    };
    for (const auto &[pieces, result] : cases_of_headers) EXPECT_EQ(result_of(pieces), result);
}

TEST_F(Multipart, NeedsABoundaryThatCanBeOne)
{
    const std::string longest(4092, 'b');
    multipart_parser parser;
    EXPECT_FALSE(multipart_parser_init(&parser, (longest + "b").c_str()));
    const std::pair<std::string, const char *> rows[] = {
        {"", ""}, {"\rXyZ", ""}, {"XyZ\n", ""}, {longest + "b", ""}, {longest, "|f=x"}};
    for (const auto &[boundary, result] : rows) {
        const std::string delimiter = "--" + boundary;
        EXPECT_EQ(result_of({{delimiter + field("f").substr(5) + delimiter + "--"}}, boundary),
                  result);
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
    const std::string result = result_of(fields + file("f", "a") + end);
    EXPECT_EQ(state->params->used, 1024u);
    EXPECT_EQ(result.rfind("|0=x|1000=x", 0), 0u) << "no file that no parameter names";
    EXPECT_EQ(result.substr(result.rfind('|')), dropped);
}

TEST_F(Multipart, SaysWhereItStopped)
{
    multipart_parser parser;
    const auto parse = [&](const std::string &chunk) {
        return parse_multipart_chunk(nullptr, chunk.data(), chunk.size(), state->params, &parser);
    };
    ASSERT_TRUE(multipart_parser_init(&parser, "XyZ"));
    EXPECT_EQ(parse("--XyZ\r\nA"), 0);
    EXPECT_EQ(parse(": b\rX\r\n"), 4);
    EXPECT_EQ(parse("\r\n"), 0);
    ASSERT_TRUE(multipart_parser_init(&parser, "XyZ"));
    EXPECT_EQ(parse("X boundary=XyZ\r\n"), 1);
    EXPECT_EQ(server_log,
              (std::vector<std::string>{"parse_multipart_chunk.4: Error ",
                                        "parse_multipart_chunk.359: Headers end not found "}));
}

} // namespace
