// Real ports: the PCI configuration mechanism, through which the example board at 00:03.0 shows itself.

#include <qm.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <thread>

namespace {

constexpr uintptr_t kAddressPort = 0xCF8, kResetPort = 0xCF9, kDataPort = 0xCFC;
constexpr uint32_t kExample = 0x80000000U | 3U << 11;
constexpr uint32_t kIds = 0x11E81234;
constexpr int kFaulted = 42;

uint32_t idsOfTheExample()
{
    qm_outpDW(kAddressPort, kExample);
    return qm_inpDW(kDataPort);
}

/// The kernel logs a fault that nobody handles, and the target counts that as a complaint.
void exitOnFault()
{
    (void)std::signal(SIGSEGV, [](int) { ::_exit(kFaulted); });
}

TEST(ConfigurationPorts, AreReadInEveryWidthWithoutAskingForThemFirst)
{
    EXPECT_EQ(kIds, idsOfTheExample());
    EXPECT_EQ(kIds & 0xFFFF, qm_inpW(kDataPort));
    EXPECT_EQ(kIds & 0xFF, qm_inpB(kDataPort));
}

TEST(ConfigurationPorts, AreOpenToAThreadThatIsOlderThanTheFirstAccess)
{
    std::promise<void> firstAccess;
    auto older = std::async(std::launch::async, [&] {
        firstAccess.get_future().wait();
        return idsOfTheExample();
    });
    EXPECT_EQ(kIds, idsOfTheExample());
    firstAccess.set_value();
    EXPECT_EQ(kIds, older.get());
}

class OtherPort : public testing::TestWithParam<uintptr_t>
{};

TEST_P(OtherPort, EndsTheProcessThatHasNotAskedForIt)
{
    EXPECT_EXIT((exitOnFault(), qm_inpB(GetParam()), ::_exit(0)), testing::ExitedWithCode(kFaulted), "");
}

INSTANTIATE_TEST_SUITE_P(BesideThem, OtherPort, testing::Values(0xCF4, kResetPort, 0xCFD));

TEST(Grant, BelongsToTheThreadThatMadeTheAccess)
{
    const auto readInOlderThread = [] {
        exitOnFault();
        std::promise<void> firstAccess;
        std::thread older([&] {
            firstAccess.get_future().wait();
            (void)qm_inpB(kResetPort);
            ::_exit(0);
        });
        (void)qm_inpDW(kAddressPort);  // grants the 31 ports that follow, too
        (void)qm_inpB(kResetPort);
        firstAccess.set_value();
        older.join();
    };
    EXPECT_EXIT(readInOlderThread(), testing::ExitedWithCode(kFaulted), "");
}

}  // namespace
