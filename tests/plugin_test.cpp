/* Registration, and the life of the module's state. */
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/module_host.h"

namespace {

class Registered : public testing::Test, protected HostedModule {};

TEST_F(Registered, FillsItsDescriptor)
{
    EXPECT_EQ(descriptor.version, 0x10433u);
    EXPECT_STREQ(descriptor.name->ptr, "kelto_sysmgmt");
    EXPECT_EQ(descriptor.data, nullptr);
    for (plugin_data *const data : {state, static_cast<plugin_data *>(nullptr)}) {
        const handler_t result = data ? HANDLER_GO_ON : HANDLER_ERROR;
        EXPECT_EQ(descriptor.set_defaults(nullptr, data), result);
        EXPECT_EQ(descriptor.handle_trigger(nullptr, data), result);
        EXPECT_EQ(descriptor.connection_reset(nullptr, nullptr, data), result);
    }
    EXPECT_EQ(descriptor.cleanup(nullptr, nullptr), HANDLER_GO_ON);
}

/* Asks for /x and prints where it is sent to. The version tag is taken once in a process, so each
 * case has one of its own: death tests come before all others, and fork. */
void print_redirect(const std::string &version, time_t at)
{
    fixed_time = at;
    setenv("TZ", "UTC", 1);
    HostedModule module(version);
    the_daemon.on_message = [&](const std::string &) { the_daemon.sends(version); };
    module.begin(HTTP_METHOD_GET, "/x");
    module.run();
    fprintf(stderr, "%s", hosted_response_header(module.con, "Location"));
    _exit(0);
}

TEST(VersionDeathTest, ComesFromTheDaemonOrFromTheDate)
{
    constexpr time_t march = 1772712000, november = 1794830400; /* 2026-03-05 and -11-16, noon */
    const std::string date = "/vapo202603025/x";
    struct {
        const char *what;
        std::string reply;
        time_t at;
        std::string location;
    } const cases[] = {
        {"the software text", version_reply("2.4.1"), march, "/v2.4.1/x"},
        {"a single character", version_reply("5"), march, "/v5/x"},
        {"at most 99 characters", version_reply(std::string(120, 'a')), march,
         "/v" + std::string(99, 'a') + "/x"},
        {"a silent daemon", "", march, date},
        {"a two-digit month and day", "", november, "/vapo2026110216/x"},
        {"an empty text", version_reply(""), march, date},
        {"a refusal", reply(44, 0, std::string(1020, 'a')), march, date},
        {"a short record", version_reply("2.4.1", 1019), march, date},
        {"a long record", version_reply("2.4.1", 1021), march, date},
    };
    for (const auto &c : cases) {
        EXPECT_EXIT(print_redirect(c.reply, c.at), testing::ExitedWithCode(0),
                    "^" + c.location + "$")
            << c.what;
    }
}

} // namespace
