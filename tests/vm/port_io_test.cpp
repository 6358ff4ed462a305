// Real ports: the PCI configuration mechanism, through which the example board at 00:03.0 shows itself.

#include "test.hpp"

#include <future>

namespace {

using namespace qm::test;

constexpr uintptr_t kAddressPort = 0xCF8, kDataPort = 0xCFC;
constexpr uint32_t kExample = 0x80000000U | 3U << 11;
constexpr uint32_t kIds = 0x11E81234;
constexpr int kFaulted = 42;

uint32_t idsOfTheExample()
{
    qm_outpDW(kAddressPort, kExample);
    return qm_inpDW(kDataPort);
}

TEST(ConfigurationPorts, AreOpenToEveryThreadWithoutAskingForThemFirst)
{
    std::promise<void> firstAccess;
    auto older = std::async(std::launch::async, [&] {
        firstAccess.get_future().wait();
        return idsOfTheExample();
    });
    EXPECT_EQ(kIds, idsOfTheExample());
    firstAccess.set_value();
    EXPECT_EQ(kIds, older.get());
    EXPECT_EQ(kIds & 0xFFFF, qm_inpW(kDataPort));
    EXPECT_EQ(kIds & 0xFF, qm_inpB(kDataPort));
}

TEST(OtherPort, EndsTheProcessThatHasNotAskedForIt)
{
    const auto readFrom = [](uintptr_t port) {
        // The kernel logs a fault that nobody handles, and the target counts that as a complaint.
        (void)std::signal(SIGSEGV, [](int) { ::_exit(kFaulted); });
        (void)qm_inpB(port);
        ::_exit(0);
    };
    for (const uintptr_t port : {0xCF4U, 0xCF9U, 0xCFDU})
        EXPECT_EXIT(readFrom(port), ExitedWithCode(kFaulted), "") << port;
}

}  // namespace
