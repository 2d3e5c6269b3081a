/* URL-encoded bodies: pairs, lookups, and bodies in pieces. */
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>

#include <regex>

#include "input/body.h"
#include "input/form.h"
#include "input/params.h"
#include "tests/support/module_test.h"
#include "tests/support/table.h"

namespace {

using namespace std::string_literals;

class Form : public ModuleTest {
protected:
    /* The parameters, as text_of writes them. */
    std::string decode(const std::vector<Piece> &pieces, const std::string &type = "x")
    {
        EXPECT_EQ(HostedModule::decode(pieces, type), HANDLER_GO_ON);
        return text_of(state->params);
    }
};

TEST_F(Form, StoresPairsAsTheyStand)
{
    for (const Row &row : table("form.txt", 3)) {
        /* "a=1 & b=2" is "|a=1|b=2" to text_of. */
        const std::string pairs = std::regex_replace(row[2], std::regex("^(?=.)| & "), "|");
        EXPECT_EQ(decode({{unescaped(row[1])}}), unescaped(pairs)) << row[0];
    }
    EXPECT_EQ(decode({{"GET /a=0\r\n\r\nx=1\r\n\r\ny=2", Piece::MEMORY, 12}}), "|x=2")
        << "an offset";
    EXPECT_EQ(decode({{"a=1&b="}, {"x\r\n\r\nc"}}), "|a=1|b=x\r\n\r\nc")
        << "a second chunk holds no headers";
}

TEST_F(Form, IsTheSameHoweverItIsCut)
{
    const std::string body = "a=1&&name=two words&x=y=z&flag&empty=&i[3]=4\0last=8"s;
    const std::string whole = decode({{body}});
    ASSERT_EQ(whole, "|a=1|empty=|i[3]=4|last=8|name=two words|x=z");
    for (size_t i = 0; i <= body.size(); ++i) {
        for (size_t j = i; j <= body.size(); ++j) {
            ASSERT_EQ(decode({{body.substr(0, i)}, {body.substr(i, j - i)}, {body.substr(j)}}),
                      whole)
                << "cut at " << i << " and " << j;
        }
    }
    std::vector<Piece> bytes;
    for (const char c : body) bytes.push_back({{c}});
    EXPECT_EQ(decode(bytes), whole) << "cut everywhere";
    printf("%zu ways to cut a form tried\n", (body.size() + 1) * (body.size() + 2) / 2 + 1);
}

TEST_F(Form, TellsWhatItDecodesOnStandardError)
{
    decode({{"a=1&flag&b"}, {"=2\0c=3"s}, {"&d"}});
    EXPECT_EQ(debug_output,
              "content=a=1&flag&b=2\nkey=a, value=1\nkey=b, value=2\nkey=c, value=3\n");

    /* Lines are gathered in 4096 bytes: many short ones, and some that just fit or do not. */
    for (const size_t length : {1u, 2u, 3u, 5u, 7u, 11u, 4081u, 4082u, 4083u, 9999u}) {
        const std::string text(length, 'v');
        std::string pairs, lines;
        for (int i = 0; i < (length > 4000 ? 3 : 200); ++i) {
            pairs += (i > 0 ? "&k=" : "k=") + text;
            lines += "key=k, value=" + text + "\n";
        }
        debug_output.clear();
        decode({{pairs}});
        EXPECT_TRUE(debug_output == "content=" + pairs + "\n" + lines) << length;
    }
}

/* Nothing waits for standard error: what it does not take is lost. */
TEST_F(Form, DropsDebugLinesThatStandardErrorDoesNotTake)
{
    for (const auto &[events, interrupted, lines] :
         {std::tuple(POLLOUT, 0, "content=a=1\nkey=a, value=1\n"),
          {POLLOUT, 2, "content=a=1\nkey=a, value=1\n"}, /* and one byte at a time */
          {0, 0, ""},
          {POLLERR, 0, ""}}) {
        debug_output.clear();
        debug_events = static_cast<short>(events);
        interrupted_writes = interrupted;
        longest_write = interrupted > 0 ? 1 : SIZE_MAX;
        EXPECT_EQ(decode({{"a=1"}}), "|a=1");
        EXPECT_EQ(debug_output, lines);
    }
    debug_events = POLLOUT;
    longest_write = SIZE_MAX;
}

TEST_F(Form, DecodesWhatIsLookedUp)
{
    const std::string long_name(100, 'n');
    decode(
        {{"name=a%20b+c&twice=%2541&bad=%4g%&nul=%00%7f%7F&" + long_name.substr(0, 78) + "=cut"}});
    array *params = state->params;
    const std::pair<const char *, const char *> cases[] = {
        {"name", "a b+c"}, {"NAME", "a b+c"}, {"bad", "%4g%"},
        {"nul", "___"},    {"twice", "%41"},  {"twice", "A"}, /* each lookup decodes once more */
    };
    for (const auto &[key, value] : cases) EXPECT_STREQ(get_value(params, key), value) << key;
    EXPECT_EQ(get_value(params, "absent"), nullptr);
    EXPECT_STREQ(get_array_element_value(params, long_name.c_str(), 5), "cut");
}

TEST_F(Form, HoldsABoundedNumberOfParametersAndBytes)
{
    std::string many;
    for (int i = 0; i < 1030; ++i) many += std::to_string(i) + "=&";
    const std::string value(65000, 'v'), large = "a=" + value + "&b=" + value + "&c=" + value;
    const std::tuple<std::vector<Piece>, size_t, size_t> cases[] = {
        {{{many.substr(0, many.find("1024="))}}, 1024, 0},
        {{{many}}, 1024, 1},
        {{{large + "&d=" + std::string(67100, 'v')}}, 4, 0},
        {{{large + "&d=" + std::string(67200, 'v') + "&e="}}, 3, 1},
        {{{"a=" + std::string(262143, 'v')}}, 0, 1},
        {{{large + "&d="}, {value}, {value + "&e="}, {"x"}}, 3, 1},
    };
    for (const auto &[body, stored, complaints] : cases) {
        server_log.clear();
        decode(body);
        EXPECT_EQ(state->params->used, stored);
        EXPECT_EQ(server_log.size(), complaints);
        for (const std::string &line : server_log)
            EXPECT_NE(line.find(": Dropped what exceeds the limits of a form "), line.npos);
    }
    const buffer content = {many.data(), many.size() + 1, 0};
    EXPECT_EQ(parse_urlencoded_chunk(&content, state->params), 1);
    EXPECT_EQ(parse_urlencoded_chunk(nullptr, state->params), -1);
    EXPECT_EQ(parse_urlencoded_chunk(&content, nullptr), -1);
}

TEST_F(Form, GivesBackWhatAGiantOneTook)
{
    const auto put = [this](const std::string &form) {
        will_reply(25, 1, "");
        EXPECT_EQ(request(HTTP_METHOD_PUT, "/api/sap", form).status, 204);
        return state->params;
    };
    EXPECT_EQ(put("ipAddress=" + std::string(60000, 'v'))->size, 0u);
    EXPECT_EQ(state->tmp_buf->size, 0u);
    EXPECT_EQ(put("port=1"), put("port=2")) << "a small one costs no allocation";
}

TEST_F(Form, IgnoresWhatTheServerKeepsInFiles)
{
    for (const Piece::Kind kind : {Piece::OPEN_FILE, Piece::NAMED_FILE}) {
        EXPECT_EQ(decode({{"c=3"}, {"a=1&b=2", kind}}), "|c=3");
        const chunk *file = con->request_content_queue->last;
        EXPECT_NE(file->file.mmap.start, MAP_FAILED) << "mapped, for the server to release";
        EXPECT_EQ(file->file.fd, -1);
        EXPECT_EQ(parse_query_params(nullptr, con, state), HANDLER_GO_ON) << "mapped once";
    }
}

TEST_F(Form, TakesNothingOfWhatALongerOneLeftBehind)
{
    decode({{"a===================="}, {"b=2====="}});
    EXPECT_EQ(decode({{"x=1&y"}, {"=2"}}), "|x=1|y=2");
    begin(HTTP_METHOD_PUT, "");
    append_body({{"x=1"}, {"y=2"}});
    con->request_content_queue->last->mem->used = 0; /* an empty chunk */
    array_reset(state->params);
    EXPECT_EQ(parse_query_params(nullptr, con, state), HANDLER_GO_ON);
    EXPECT_EQ(text_of(state->params), "|x=1");
}

TEST_F(Form, TellsWhyAFileCannotBeRead)
{
    const int device = open("/dev/null", O_RDONLY);
    const std::tuple<const char *, int, std::string> cases[] = {
        {"/tmp/no_such_body", -1, "737: open failed:  No such file or directory "},
        {"/dev/null", device,
         "745: mmap failed:  No such device /dev/null " + std::to_string(device) + " "},
    };
    for (const auto &[file, fd, line] : cases) {
        begin(HTTP_METHOD_PUT, "");
        hosted_append_file(con, file, 7, fd);
        append_body({});
        server_log.clear();
        EXPECT_EQ(parse_query_params(nullptr, con, state), HANDLER_ERROR);
        EXPECT_EQ(server_log, std::vector<std::string>{"parse_query_params." + line});
        EXPECT_EQ(con->request_content_queue->first->file.fd, fd) << "left to the server";
    }
}

TEST_F(Form, IsChosenByTheContentType)
{
    EXPECT_EQ(decode({{"a=1"}}, "application/json"), "|a=1");
    EXPECT_EQ(decode({{"a=1"}}, "multipart/mixed; boundary=x"), "|a=1");
    EXPECT_EQ(decode({{"a=1"}}, "multipart/form-date; boundary=x"), "|a=1");
    EXPECT_EQ(decode({{"a=1"}}, "Multipart/Form-Data; charset=utf-8"), "") << "no boundary";
}

} // namespace
