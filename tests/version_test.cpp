/* The version tag is taken once in a process, so each case has one of its
 * own: death tests come before all others, and fork. */
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <string>

#include "module/dispatcher.h"
#include "server/hosting/hosting.h"
#include "tests/support/module_host.h"

extern "C" int mod_kelto_sysmgmt_plugin_init(plugin *descriptor);

namespace {

time_t now;

} // namespace

extern "C" time_t __real_time(time_t *out);
extern "C" time_t __wrap_time(time_t *out)
{
    if (now == 0) return __real_time(out);
    if (out) *out = now;
    return now;
}

namespace {

/* Asks for /x and prints where it is sent to. */
void print_redirect(const std::string &reply, time_t at)
{
    now = at;
    setenv("TZ", "UTC", 1);
    const DaemonSocket socket;
    plugin descriptor = {};
    mod_kelto_sysmgmt_plugin_init(&descriptor);
    auto *state = static_cast<plugin_data *>(descriptor.init());
    const int daemon = socket.accept_one();
    if (reply.empty()) {
        close(daemon);
    } else if (write(daemon, reply.data(), reply.size()) < 0) {
        _exit(2);
    }
    hosted_log_to_fd(-1);
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
