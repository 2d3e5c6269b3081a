#include "module/escape.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;

TEST(Escape, StaysWithinTheField)
{
    struct {
        const char *what;
        std::string text;
        uint32_t width;
        std::string field; /* up to its last byte */
    } const cases[] = {
        {"every replacement", "a<b>\"c\\", 46, "a&lt;b&gt;\\\"c\\\\"},
        {"nothing to replace", "plain", 46, "plain"},
        {"an empty text", "", 46, ""},
        {"the first does not fit", "<<", 4, ""},
        {"the second does not fit", "<<", 8, "&lt;"},
        {"both fit", "<<", 9, "&lt;&lt;"},
        {"all that follows goes too", "ab<c", 6, "ab"},
        {"a short one", "a\"b", 6, "a\\\"b"},
        {"a backslash not cut in half", "abc\\", 5, "abc"},
        {"no terminator", "abcd", 4, "abc"},
        {"no terminator, escaped", "ab\"d", 4, "ab"},
        {"a field of one byte", "a", 1, ""},
        {"other bytes as they are", "\x01\t\n\x7f\x80\xff&'/", 46, "\x01\t\n\x7f\x80\xff&'/"},
        {"nothing behind a NUL", "a\0<"s, 46, "a"},
        {"the last byte is special", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa<", 46,
         "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa&lt;"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        std::string field = c.text;
        field.resize(c.width, '\0');
        field += '#'; /* the next field */
        EXPECT_EQ(escape_string(field.data(), c.width), field.data());
        std::string expected = c.field;
        expected.resize(c.width, '\0');
        if (c.text.empty()) expected = std::string(c.width, '\0');
        EXPECT_EQ(field, expected + '#');
    }
}

TEST(Escape, AllowsOneWriteForEachField)
{
    std::string first = "<a>", second = "\"b\"";
    first.resize(20, '\0');
    second.resize(20, '\0');
    const char *both[] = {escape_string(first.data(), 20), escape_string(second.data(), 20)};
    EXPECT_STREQ(both[0], "&lt;a&gt;");
    EXPECT_STREQ(both[1], "\\\"b\\\"");
}

} // namespace
