#include "reply/escape.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <random>

#include "tests/support/module_host.h"

namespace {

using namespace std::string_literals;

TEST(Escape, StaysWithinTheField)
{
    const std::tuple<const char *, std::string, uint32_t, std::string> cases[] = {
        {"every replacement", "a<b>\"c\\", 46, "a&lt;b&gt;\\\"c\\\\"},
        {"the first does not fit", "<<", 4, ""},
        {"all that follows goes too", "ab<c", 6, "ab"},
        {"a backslash not cut in half", "abc\\", 5, "abc"},
        {"no terminator", "abcd", 4, "abc"},
        {"a field of one byte", "a", 1, ""},
        {"other bytes as they are", "\x01\t\n\x7f\x80\xff&'/", 46, "\x01\t\n\x7f\x80\xff&'/"},
        {"nothing after a NUL", "a\0<"s, 46, "a"},
    };
    for (const auto &[what, text, width, result] : cases) {
        SCOPED_TRACE(what);
        std::string field = text_field(text, width) + '#'; /* of the next one */
        EXPECT_EQ(escape_string(field.data(), width), field.data());
        EXPECT_EQ(field, text_field(result, width) + '#');
    }
}

/* The memory that it needs is kept, so that only the first text of a process can go without. */
TEST(EscapeDeathTest, ShowsNothingWithoutMemory)
{
    const auto escape = [] {
        const FailingCall no_memory("calloc", 1, true);
        char text[] = "a<b";
        fprintf(stderr, "%s.", escape_string(text, sizeof(text)));
        _exit(0);
    };
    EXPECT_EXIT(escape(), testing::ExitedWithCode(0), "^\\.$");
}

TEST(Escape, DoesWhatANaiveLoopDoes)
{
    std::minstd_rand random(5);
    for (int i = 0; i < 20000; ++i) {
        const auto width = static_cast<uint32_t>(1 + random() % (i % 100 == 0 ? 9000 : 300));
        const unsigned one_special_in = 1u << random() % 12; /* from all to few */
        std::string text(width, 'x');
        for (char &c : text) {
            c = static_cast<char>(random() % 255 + 1);
            if (random() % one_special_in == 0) c = "<>\"\\;=?!#]"[random() % 10];
            if (random() % 500 == 0) c = '\0';
        }
        const std::string expected = escaped_naively(text);
        std::vector<char> field(text.begin(), text.end()); /* without a byte behind them */
        std::string out(width, '#');
        char *end = put_escaped(out.data(), field.data(), width);
        ASSERT_EQ(std::string(out.data(), end), expected);
        escape_string(field.data(), width);
        ASSERT_EQ(std::string(field.begin(), field.end()),
                  text[0] == '\0' ? text : text_field(expected, width));
    }
}

} // namespace
