#include "reply/escape.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <random>

#include "tests/support/module_host.h"

namespace {

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
    EXPECT_EQ(escaped_naively(text_field("a<b>\"c\\\x01&'", 46)), "a&lt;b&gt;\\\"c\\\\\x01&'");
    EXPECT_EQ(escaped_naively("ab<c##"), "ab") << "no half of one, and nothing behind it";
    EXPECT_EQ(escaped_naively("abcd"), "abc") << "room for a NUL";
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
        EXPECT_EQ(escape_string(field.data(), width), field.data());
        ASSERT_EQ(std::string(field.begin(), field.end()),
                  text[0] == '\0' ? text : text_field(expected, width));
    }
}

} // namespace
