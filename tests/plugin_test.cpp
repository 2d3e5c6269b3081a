/* Registration, and the life of the module's state. */
#include <gtest/gtest.h>

#include <unistd.h>

#include <string>

#include "server/hosting/hosting.h"
#include "tests/support/failing_calls.h"
#include "tests/support/module_host.h"

extern "C" int mod_kelto_sysmgmt_plugin_init(plugin *descriptor);

namespace {

int lowest_free_descriptor()
{
    const int fd = dup(0);
    close(fd);
    return fd;
}

class Registered : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(mod_kelto_sysmgmt_plugin_init(&descriptor), 0); }
    void TearDown() override { buffer_free(descriptor.name); }

    plugin descriptor = {};
};

TEST_F(Registered, FillsItsDescriptor)
{
    EXPECT_EQ(descriptor.version, 0x10433u);
    EXPECT_STREQ(descriptor.name->ptr, "kelto_sysmgmt");
    EXPECT_EQ(descriptor.data, nullptr);
    int state = 0;
    EXPECT_EQ(descriptor.set_defaults(nullptr, &state), HANDLER_GO_ON);
    EXPECT_EQ(descriptor.set_defaults(nullptr, nullptr), HANDLER_ERROR);
    EXPECT_EQ(descriptor.handle_trigger(nullptr, &state), HANDLER_GO_ON);
    EXPECT_EQ(descriptor.handle_trigger(nullptr, nullptr), HANDLER_ERROR);
    EXPECT_EQ(descriptor.connection_reset(nullptr, nullptr, &state), HANDLER_GO_ON);
    EXPECT_EQ(descriptor.connection_reset(nullptr, nullptr, nullptr), HANDLER_ERROR);
    EXPECT_EQ(descriptor.cleanup(nullptr, nullptr), HANDLER_GO_ON);
}

TEST_F(Registered, NeedsTheDaemonToStart)
{
    const int before = lowest_free_descriptor();
    EXPECT_EQ(descriptor.init(), nullptr);
    EXPECT_EQ(lowest_free_descriptor(), before);
}

/* The leak checker sees what a failed init leaves behind. */
TEST_F(Registered, GivesEverythingBackWhenItCannotStart)
{
    const DaemonSocket socket;
    const int before = lowest_free_descriptor();
    struct {
        const char *name;
        int made;
    } const calls[] = {{"calloc", 6}, {"socket", 1}, {"fcntl", 1}, {"connect", 1}};
    for (const auto &call : calls) {
        for (int nth = 1; nth <= call.made; ++nth) {
            SCOPED_TRACE(call.name + std::to_string(nth));
            const FailingCall failing(call.name, nth);
            EXPECT_EQ(descriptor.init(), nullptr);
            EXPECT_EQ(lowest_free_descriptor(), before);
        }
        const FailingCall failing(call.name, call.made + 1);
        void *state = descriptor.init();
        ASSERT_NE(state, nullptr) << call.name;
        EXPECT_EQ(failing.calls(), call.made);
        descriptor.cleanup(nullptr, state);
    }
}

} // namespace
