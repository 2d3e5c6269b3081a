#include "module/escape.h"

#include <gtest/gtest.h>

#include "tests/support/messages.h"

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
        {"only the last of many", std::string(80, 'a') + "\"", 90, std::string(80, 'a') + "\\\""},
        {"side by side", "<<<<>>>>\"\"\"\"\\\\\\\\<", 80,
         "&lt;&lt;&lt;&lt;&gt;&gt;&gt;&gt;\\\"\\\"\\\"\\\"\\\\\\\\\\\\\\\\&lt;"},
        {"a field filled and cut", "<" + std::string(70, 'a'), 71, "&lt;" + std::string(66, 'a')},
        {"a field filled, and the last does not fit", std::string(67, 'a') + "<<", 71,
         std::string(67, 'a')},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        std::string field = text_field(c.text, c.width) + '#'; /* of the next one */
        EXPECT_EQ(escape_string(field.data(), c.width), field.data());
        EXPECT_EQ(field, text_field(c.field, c.width) + '#');
    }
}

} // namespace
