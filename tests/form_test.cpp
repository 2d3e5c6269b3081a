/* URL-encoded bodies: pairs, lookups, and bodies in pieces. */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "input/body.h"
#include "input/params.h"
#include "server/hosting/hosting.h"
#include "tests/support/failing_calls.h"
#include "tests/support/module_host.h"

namespace {

using Pairs = std::map<std::string, std::string>;
using namespace std::string_literals;

/* Collects what is written to standard error while it lives. */
class CapturedErrors {
public:
    CapturedErrors() { testing::internal::CaptureStderr(); }
    std::string text() { return testing::internal::GetCapturedStderr(); }
};

class Form : public ModuleTest {
protected:
    /* A body of memory chunks. */
    handler_t decode(const std::vector<std::string> &pieces)
    {
        hosted_connection_reset(con);
        for (const std::string &piece : pieces) hosted_append_memory(con, piece);
        return decode_body();
    }

    handler_t decode_body()
    {
        con->request.content_length = con->request_content_queue->bytes_in;
        array_reset(state->params);
        return parse_query_params(nullptr, con, state);
    }

    Pairs stored() const
    {
        Pairs pairs;
        for (size_t i = 0; i < state->params->used; ++i) {
            const auto *entry = reinterpret_cast<data_string *>(state->params->data[i]);
            pairs[std::string(entry->key->ptr, entry->key->used - 1)] =
                std::string(entry->value->ptr, entry->value->used - 1);
        }
        return pairs;
    }
};

TEST_F(Form, StoresPairsAsTheyStand)
{
    struct {
        const char *what;
        std::string body;
        Pairs pairs;
    } const cases[] = {
        {"two", "a=1&b=2", {{"a", "1"}, {"b", "2"}}},
        {"the later of two", "a=1&a=2", {{"a", "2"}}},
        {"the same key in another case", "a=1&A=2", {{"a", "2"}}},
        {"empty segments and one without '='", "x=1&&y=2&z", {{"x", "1"}, {"y", "2"}}},
        {"an empty value", "n=", {{"n", ""}}},
        {"an empty key", "=5", {{"", "5"}}},
        {"more than one '='", "a=b=c", {{"a", "c"}}},
        {"nothing decoded", "ip%41=%20+", {{"ip%41", "%20+"}}},
        {"a NUL as a separator", "a=1\0b=2"s, {{"a", "1"}, {"b", "2"}}},
        {"headers in front", "POST / HTTP/1.1\r\nX: y=1&z\r\n\r\na=1", {{"a", "1"}}},
        {"no second header end", "H\r\n\r\na=1\r\n\r\nb", {{"a", "1\r\n\r\nb"}}},
        {"no header end behind a NUL", "a=1\0\r\n\r\nb=2"s, {{"a", "1"}, {"\r\n\r\nb", "2"}}},
        {"brackets as they are", "i[2]=x&i%5B3%5D=y", {{"i[2]", "x"}, {"i%5B3%5D", "y"}}},
        {"nothing", "&", {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(decode({c.body}), HANDLER_GO_ON);
        EXPECT_EQ(stored(), c.pairs);
    }
}

TEST_F(Form, IsTheSameHoweverItIsCut)
{
    const std::string body = "a=1&&name=two words&x=y=z&flag&empty=&i[3]=4\0last=8"s;
    ASSERT_EQ(decode({body}), HANDLER_GO_ON);
    const Pairs whole = stored();
    ASSERT_EQ(whole.size(), 6u);
    for (size_t i = 0; i <= body.size(); ++i) {
        for (size_t j = i; j <= body.size(); ++j) {
            decode({body.substr(0, i), body.substr(i, j - i), body.substr(j)});
            ASSERT_EQ(stored(), whole) << "cut at " << i << " and " << j;
        }
    }
    std::vector<std::string> bytes;
    for (const char c : body) bytes.emplace_back(1, c);
    decode(bytes);
    EXPECT_EQ(stored(), whole) << "cut everywhere";
}

TEST_F(Form, SkipsHeadersOnlyInFrontOfTheBody)
{
    decode({"a=1&b=", "x\r\n\r\nc=2"});
    EXPECT_EQ(stored(), (Pairs{{"a", "1"}, {"b", "2"}})) << "the second chunk holds no headers";

    hosted_connection_reset(con);
    hosted_append_memory(con, "GET /a=0 HTTP/1.1\r\n\r\nx=1\r\n\r\ny=2", 21);
    decode_body();
    EXPECT_EQ(stored(), (Pairs{{"x", "2"}})) << "where the server says that the body begins";
}

TEST_F(Form, TellsWhatItDecodesOnStandardError)
{
    CapturedErrors errors;
    decode({"a=1&flag&b", "=2\0c=3"s, "&d"});
    EXPECT_EQ(errors.text(),
              "content=a=1&flag&b\nkey=a, value=1\n"
              "content==2\nkey=b, value=2\n"
              "content=&d\nkey=c, value=3\n");

    const std::string value(10000, 'v');
    CapturedErrors long_errors;
    decode({"k=" + value});
    EXPECT_EQ(long_errors.text(), "content=k=" + value + "\nkey=k, value=" + value + "\n");
}

TEST_F(Form, LooksUpScalarsAndIndexes)
{
    const std::string long_name(100, 'n');
    decode({"name=a%20b+c&items[2]=x&m[0][1]=7&m[-1]=8&twice=%2541&bad=%4g%&nul=%00%7f&" +
            long_name.substr(0, 78) + "=cut"});
    array *params = state->params;
    EXPECT_STREQ(get_value(params, "name"), "a b+c");
    EXPECT_STREQ(get_value(params, "NAME"), "a b+c") << "without regard to case";
    EXPECT_STREQ(get_array_element_value(params, "items", 2), "x");
    EXPECT_EQ(get_array_element_value(params, "items", 1), nullptr);
    EXPECT_STREQ(get_array_element_value(params, "m", -1), "8");
    EXPECT_STREQ(get_2darray_element_value(params, "m", 0, 1), "7");
    EXPECT_STREQ(get_array_element_value(params, long_name.c_str(), 5), "cut");
    EXPECT_STREQ(get_value(params, "bad"), "%4g%");
    EXPECT_STREQ(get_value(params, "nul"), "__");
    EXPECT_TRUE(has_array_element(params, "items", 2));
    EXPECT_STREQ(get_value(params, "twice"), "%41") << "each lookup decodes once more";
    EXPECT_STREQ(get_value(params, "twice"), "A");
    EXPECT_EQ(get_value(params, "absent"), nullptr);
}

TEST_F(Form, WaitsForTheWholeBody)
{
    const handler_t results[] = {HANDLER_WAIT_FOR_EVENT, HANDLER_ERROR, HANDLER_FINISHED,
                                 HANDLER_COMEBACK};
    for (const handler_t result : results) {
        hosted_connection_reset(con);
        con->request.http_method = HTTP_METHOD_PUT;
        con->request.content_length = 10;
        hosted_set_path(con, "/api/sap");
        hosted_append_memory(con, "port=1");
        hosted_on_read_body(
            con,
            [](server *, connection *, void *value) { return *static_cast<handler_t *>(value); },
            const_cast<handler_t *>(&result));
        const Answer answer = run();
        EXPECT_EQ(answer.result, result);
        EXPECT_EQ(answer.status, 0);
        EXPECT_FALSE(answer.finished);
        EXPECT_EQ(sent().type, 0u) << "no command runs";
    }
    hosted_on_read_body(
        con,
        [](server *, connection *arriving, void *) {
            hosted_append_memory(arriving, "2345");
            return HANDLER_GO_ON;
        },
        nullptr);
    will_reply(25, 1, "");
    EXPECT_EQ(run().status, 204);
    EXPECT_EQ(sent().payload.substr(51), "\x39\x30\0\0"s);
}

TEST_F(Form, IgnoresWhatTheServerKeepsInFiles)
{
    char name[] = "/tmp/form_body_XXXXXX";
    const int fd = mkstemp(name);
    ASSERT_EQ(write(fd, "a=1&b=2", 7), 7);
    for (const int given : {fd, -1}) {
        hosted_connection_reset(con);
        hosted_append_memory(con, "c=3");
        hosted_append_file(con, name, 7, given);
        EXPECT_EQ(decode_body(), HANDLER_GO_ON);
        EXPECT_EQ(stored(), (Pairs{{"c", "3"}}));
        const chunk *file = con->request_content_queue->last;
        EXPECT_NE(file->file.mmap.start, MAP_FAILED) << "mapped, for the server to release";
        EXPECT_EQ(file->file.fd, -1);
    }
    unlink(name);
}

TEST_F(Form, TellsWhyAFileCannotBeRead)
{
    hosted_connection_reset(con);
    hosted_append_file(con, "/tmp/no_such_body", 7);
    log.clear();
    EXPECT_EQ(decode_body(), HANDLER_ERROR);
    EXPECT_EQ(log, (std::vector<std::string>{
                       "(parse_query_params.737) open failed:  No such file or directory "}));

    const int fd = open("/dev/null", O_RDONLY);
    hosted_connection_reset(con);
    hosted_append_file(con, "/dev/null", 7, fd);
    log.clear();
    EXPECT_EQ(decode_body(), HANDLER_ERROR);
    EXPECT_EQ(log, (std::vector<std::string>{"(parse_query_params.745) mmap failed:  No such "
                                             "device /dev/null " +
                                             std::to_string(fd) + " "}));
    EXPECT_EQ(con->request_content_queue->first->file.fd, fd) << "left to the server";
}

TEST_F(Form, ChoosesByContentType)
{
    struct {
        const char *type;
        Pairs pairs;
    } const cases[] = {
        {"application/json", {{"a", "1"}}},
        {"multipart/mixed; boundary=x", {{"a", "1"}}},
        {"multipart/form-data", {}},
        {"multipart/form-data; charset=utf-8", {}},
    };
    for (const auto &c : cases) {
        hosted_connection_reset(con);
        hosted_add_request_header(con, "content-type", c.type);
        hosted_append_memory(con, "a=1");
        EXPECT_EQ(decode_body(), HANDLER_GO_ON);
        EXPECT_EQ(stored(), c.pairs) << c.type;
    }
    EXPECT_EQ(decode({}), HANDLER_GO_ON) << "an empty body";
    EXPECT_EQ(stored(), Pairs());
}

} // namespace
