// Interrupts on a target where something is missing or was left behind: the process goes on, the next run
// works.

#include "attached_board.hpp"
#include "machine.hpp"

namespace {

using namespace qm::test;

TEST(MissingDriver, FailsTheAttachAndNotTheNextOne)
{
    qm_PCIDevice board = exampleIn(kSlot);
    qm_InterruptContext* context = nullptr;
    ASSERT_EQ(0, qm_uio_createInterruptContext(&context, &board));
    {
        const WithoutModule driver("uio_quillmark");
        EXPECT_EQ(-ENOENT, qm_uio_interruptAttach(context));
        EXPECT_STREQ("INT MAP -> Failed to bind UIO device: No such file or directory\n", pQmErrorStr);
    }
    EXPECT_EQ(0, qm_uio_interruptAttach(context)) << pQmErrorStr;
    qm_uio_interruptDetach(context);
    EXPECT_GT(AttachedBoard().receiveOne(), 0);
}

TEST(MissingInterruptThread, FailsThePlacementAndNotTheInterrupts)
{
    const AttachedBoard board;
    const std::string name = "/proc/" + std::to_string(board.interruptThread()) + "/comm";
    ASSERT_EQ(0, ::mount("/dev/null", name.c_str(), nullptr, MS_BIND, nullptr));
    EXPECT_EQ(-1, qm_uio_setIrqProps(board.context()));
    EXPECT_EQ(ENOENT, errno);
    ASSERT_EQ(0, ::umount(name.c_str()));
    EXPECT_GT(board.receiveOne(), 0);
}

TEST(KilledModel, LeavesAnInterruptThatTheNextOneReceives)
{
    runAndKill([] {
        const AttachedBoard board;
        if (board.receiveOne() <= 0 || qm_uio_enableInterrupt(board.context()) != 0) return false;
        board.raise(1);
        (void)::raise(SIGKILL);  // before anything is handled or detached
        return false;
    });
    const AttachedBoard next;
    EXPECT_EQ(0, qm_uio_enableInterrupt(next.context())) << pQmErrorStr;
    const int pending = next.wait();
    ASSERT_GT(pending, 0) << pQmErrorStr;
    next.acknowledge();
    for (int round = 1; round <= 100; ++round)
        ASSERT_EQ(pending + round, next.receiveOne());
}

TEST(KilledModel, LeavesNoFixToTheNextOne)
{
    runAndKill([] {
        const AttachedBoard board;
        board.context()->qm_int_fix.fix_type = 1;
        board.context()->qm_int_fix.int_mask = AttachedBoard::kComputationInterrupts;
        if (qm_uio_interruptEnableFix(board.context()) != 0) return false;
        (void)::raise(SIGKILL);
        return false;
    });
    const AttachedBoard next;
    EXPECT_GT(next.receiveOne(), 0);
    EXPECT_TRUE(next.interruptDisabled());
}

}  // namespace
