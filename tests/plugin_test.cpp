/* Registration, and the life of the module's state. */
#include <gtest/gtest.h>

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
}

/* The leak checker sees what a failed init leaves behind. */
TEST_F(Registered, GivesEverythingBackWhenItCannotStart)
{
    the_daemon.closes();
    const uint64_t before = open_descriptors();
    const std::pair<const char *, int> calls[] = {
        {"calloc", 6}, {"socket", 1}, {"syscall", 1}, {"connect", 1}};
    for (const auto &[name, made] : calls) {
        for (int nth = 1; nth <= made + 1; ++nth) {
            SCOPED_TRACE(name + std::to_string(nth));
            const FailingCall failing(name, nth);
            void *const started = descriptor.init();
            EXPECT_EQ(started != nullptr, nth > made);
            EXPECT_EQ(descriptor.cleanup(nullptr, started), HANDLER_GO_ON);
            the_daemon.closes();
            EXPECT_EQ(open_descriptors(), before);
        }
    }
}

} // namespace
