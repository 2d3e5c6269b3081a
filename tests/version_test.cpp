/* The version tag is taken once in a process, so each case has one of its
 * own: death tests come before all others, and fork. */
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "tests/support/module_test.h"

namespace {

/* Asks for /x and prints where it is sent to. */
void print_redirect(const std::string &reply, time_t at)
{
    fixed_time = at;
    setenv("TZ", "UTC", 1);
    plugin descriptor = {};
    mod_kelto_sysmgmt_plugin_init(&descriptor);
    auto *state = static_cast<plugin_data *>(descriptor.init());
    if (reply.empty()) the_daemon.closes();
    the_daemon.on_message = [&](const std::string &) { the_daemon.sends(reply); };
    connection *con = hosted_connection_new();
    for (int i = 0; i < 2; ++i) {
        hosted_connection_reset(con);
        hosted_set_path(con, "/x");
        descriptor.handle_uri_clean(nullptr, con, state);
        fprintf(stderr, "%s\n", hosted_response_header(con, "Location"));
    }
    _exit(0);
}

std::string general_info(const std::string &software, size_t size = 1020)
{
    std::string record(size, '\0');
    record.replace(765, software.size(), software);
    return reply(44, 1, record);
}

TEST(VersionDeathTest, ComesFromTheDaemonOrFromTheDate)
{
    constexpr time_t march = 1772712000, november = 1794830400; /* 2026-03-05 and -11-16, noon */
    const std::string date = "/vapo202603025/x\n";
    struct {
        const char *what;
        std::string reply;
        time_t at;
        std::string twice;
    } const cases[] = {
        {"the software text", general_info("2.4.1"), march, "/v2.4.1/x\n"},
        {"at most 99 characters", general_info(std::string(120, 'a')), march,
         "/v" + std::string(99, 'a') + "/x\n"},
        {"a daemon that is gone", "", march, date},
        {"a two-digit month and day", "", november, "/vapo2026110216/x\n"},
        {"an empty text", general_info(""), march, date},
        {"a refusal", reply(44, 0, std::string(1020, 'a')), march, date},
        {"a short record", general_info("2.4.1", 1019), march, date},
        {"a long record", general_info("2.4.1", 1021), march, date},
    };
    for (const auto &c : cases) {
        EXPECT_EXIT(print_redirect(c.reply, c.at), testing::ExitedWithCode(0),
                    "^" + c.twice + c.twice + "$")
            << c.what;
    }
}

} // namespace
