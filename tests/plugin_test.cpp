/* Registration, and the life of the module's state. */
#include <gtest/gtest.h>

#include "tests/support/module_host.h"

namespace {

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

/* The leak checker sees what a failed init leaves behind. */
TEST_F(Registered, GivesEverythingBackWhenItCannotStart)
{
    const uint64_t before = open_descriptors();
    the_daemon.listens = false;
    EXPECT_EQ(descriptor.init(), nullptr);
    EXPECT_EQ(open_descriptors(), before);
    the_daemon = {};
    const std::pair<const char *, int> calls[] = {
        {"calloc", 6}, {"socket", 1}, {"syscall", 1}, {"connect", 1}};
    for (const auto &[name, made] : calls) {
        for (int nth = 1; nth <= made; ++nth) {
            SCOPED_TRACE(name + std::to_string(nth));
            const FailingCall failing(name, nth);
            EXPECT_EQ(descriptor.init(), nullptr);
            EXPECT_EQ(open_descriptors(), before);
        }
        const FailingCall failing(name, made + 1);
        void *state = descriptor.init();
        ASSERT_NE(state, nullptr) << name;
        EXPECT_EQ(failing.calls(), made);
        descriptor.cleanup(nullptr, state);
        the_daemon.closes();
        EXPECT_EQ(open_descriptors(), before);
    }
}

} // namespace
