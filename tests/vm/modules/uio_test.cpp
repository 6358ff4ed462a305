// Interrupts through uio_quillmark: two boards on one interrupt line.

#include "edu.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <poll.h>

namespace {

using qm::test::Edu;
using qm::test::threadNamed;
using qm::test::writeOnce;

constexpr uint32_t kSlot = 3, kOtherSlot = 7;
constexpr int kNotLong = 100;  // ms: an interrupt that comes at all has come by then

class Interrupt : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        const int result = qm::test::teachIds();
        ASSERT_TRUE(result == 0 || result == EEXIST) << result;
    }

    void SetUp() override
    {
        board_ = std::make_unique<Edu>(kSlot);
        other_ = std::make_unique<Edu>(kOtherSlot);
    }

    std::unique_ptr<Edu> board_, other_;
};

TEST_F(Interrupt, DriverTakesEveryBoardWithItsIdsAndKnowsThemAgain)
{
    for (const uint32_t slot : {kSlot, kOtherSlot})
        EXPECT_EQ("uio_quillmark", std::filesystem::read_symlink(Edu::folder(slot) / "driver").filename());
    EXPECT_EQ(EEXIST, qm::test::teachIds());
}

TEST_F(Interrupt, ThreadBearsTheBoardsNameAndRunsInRealTime)
{
    EXPECT_EQ("qm00030", board_->uioName());
    EXPECT_EQ("qm00070", other_->uioName());
    const pid_t thread = threadNamed("irq/" + board_->irq() + "-qm00030");
    ASSERT_NE(-1, thread);
    sched_param priority{};
    ASSERT_EQ(0, ::sched_getparam(thread, &priority));
    EXPECT_EQ(SCHED_FIFO, ::sched_getscheduler(thread));
    EXPECT_EQ(50, priority.sched_priority);
}

TEST_F(Interrupt, IsMaskedWhenItComesAndWaitsUntilItIsEnabled)
{
    EXPECT_FALSE(board_->interruptDisabled());
    board_->raise(1);
    const auto first = board_->nextCount();
    ASSERT_TRUE(first);
    EXPECT_TRUE(board_->interruptDisabled());

    board_->acknowledge();
    board_->raise(2);
    EXPECT_FALSE(board_->nextCount(kNotLong));
    board_->enableInterrupt();
    EXPECT_EQ(*first + 1, board_->nextCount());
}

TEST_F(Interrupt, RaisedAThousandTimesIsCountedAThousandTimes)
{
    board_->raise(1);
    const auto first = board_->nextCount();
    ASSERT_TRUE(first);
    for (uint32_t round = 1; round <= 1000; ++round) {
        board_->acknowledge();
        board_->enableInterrupt();
        board_->raise(1);
        ASSERT_EQ(*first + round, board_->nextCount());
    }
    EXPECT_FALSE(board_->nextCount(kNotLong));
}

TEST_F(Interrupt, GoesToTheRaisingBoardOfASharedLine)
{
    ASSERT_EQ(board_->irq(), other_->irq());
    other_->raise(1);
    EXPECT_TRUE(other_->nextCount());
    EXPECT_FALSE(board_->nextCount(kNotLong));
    EXPECT_FALSE(board_->interruptDisabled());
}

TEST_F(Interrupt, WithARegisterFixIsOffUntilThatRegisterEnablesIt)
{
    auto& enable = board_->registers().word(Edu::kStatus);
    ASSERT_EQ(0, board_->useFix(1, Edu::kComputationInterrupts));
    enable = enable | Edu::kComputationInterrupts;
    board_->compute(5);
    const auto first = board_->nextCount();
    ASSERT_TRUE(first);
    EXPECT_EQ(0U, enable & Edu::kComputationInterrupts);
    EXPECT_FALSE(board_->interruptDisabled());

    board_->compute(5);
    EXPECT_FALSE(board_->nextCount(kNotLong));
    enable = enable | Edu::kComputationInterrupts;
    board_->compute(5);
    EXPECT_EQ(*first + 1, board_->nextCount());
}

TEST_F(Interrupt, WithARegisterFixComesAlthoughTheCommandRegisterDisabledIt)
{
    board_->disableInterrupt();
    ASSERT_TRUE(board_->interruptDisabled());
    ASSERT_EQ(0, board_->useFix(1, Edu::kComputationInterrupts));
    board_->raise(1);
    auto count = board_->nextCount();
    ASSERT_TRUE(count);
    for (uint32_t round = 1; round <= 100; ++round) {
        board_->raise(1);
        ASSERT_EQ(*count + round, board_->nextCount());
    }
}

TEST_F(Interrupt, FixEndsWithTheLastUserOfTheBoard)
{
    ASSERT_EQ(0, board_->useFix(1, Edu::kComputationInterrupts));
    board_.reset();
    board_ = std::make_unique<Edu>(kSlot);
    board_->raise(1);
    EXPECT_TRUE(board_->nextCount());
    EXPECT_TRUE(board_->interruptDisabled());
}

TEST_F(Interrupt, FixThatNobodyKnowsIsRefusedAndLeavesTheOldOne)
{
    EXPECT_EQ(EINVAL, board_->useFix(2, 1));
    EXPECT_EQ(EINVAL, board_->uio().write("12345"));
    board_->raise(1);
    EXPECT_TRUE(board_->nextCount());
    EXPECT_TRUE(board_->interruptDisabled());
}

TEST_F(Interrupt, WaitEndsWhenTheBoardIsTakenAway)
{
    const std::string address = Edu::folder(kOtherSlot).filename();
    ASSERT_EQ(0, writeOnce(std::string(qm::test::kDriverFolder) + "unbind", address));
    uint32_t count = 0;
    EXPECT_EQ(-1, ::read(other_->uio().fd(), &count, sizeof count));
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ("", Edu::uioNode(kOtherSlot));

    ASSERT_EQ(0, writeOnce(std::string(qm::test::kDriverFolder) + "bind", address));
    other_ = std::make_unique<Edu>(kOtherSlot);
    other_->raise(1);
    EXPECT_TRUE(other_->nextCount());
}

}  // namespace
