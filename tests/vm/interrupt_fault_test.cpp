// Interrupts on a target where something is missing or was left behind: the process goes on, the next run
// works.

#include "attached_board.hpp"
#include "faults.hpp"
#include "log_capture.hpp"

#include <gmock/gmock.h>
#include <sys/mount.h>

#include <cerrno>
#include <csignal>

namespace {

using qm::test::AttachedBoard;
using qm::test::Edu;
using qm::test::exampleIn;
using qm::test::kSlot;

TEST(MissingDriver, FailsTheAttachAndNotTheNextOne)
{
    qm_PCIDevice board = exampleIn(kSlot);
    qm_InterruptContext* context = nullptr;
    ASSERT_EQ(0, qm_uio_createInterruptContext(&context, &board));
    {
        const qm::test::WithoutModule driver("uio_quillmark");
        const qm::test::LogCapture log;
        EXPECT_EQ(-ENOENT, qm_uio_interruptAttach(context));
        EXPECT_STREQ("INT MAP -> Failed to bind UIO device: No such file or directory\n", pQmErrorStr);
        EXPECT_THAT(
            log.linesFrom("info"),
            testing::ElementsAre("info QM: bindDeviceToUio: open(new_id) failed: No such file or directory"));
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
    EXPECT_EQ("Failed to find IRQ thread PID for UIO " + std::to_string(board.context()->uioIndex),
              pQmErrorStr);
    EXPECT_GT(board.receiveOne(), 0);
}

/// The next process's first interrupt is the pending one, and the ones after it are its own.
void expectOnePendingAndThenNormalLife()
{
    qm_PCIDevice board = exampleIn(kSlot);
    qm_InterruptContext* context = nullptr;
    ASSERT_EQ(0, qm_uio_createInterruptContext(&context, &board));
    ASSERT_EQ(0, qm_uio_interruptAttach(context)) << pQmErrorStr;
    ASSERT_EQ(0, qm_uio_enableInterrupt(context)) << pQmErrorStr;
    EXPECT_EQ(0, qm_uio_interruptWait(context)) << pQmErrorStr;
    qm_uio_interruptDetach(context);

    const AttachedBoard next;
    const int first = next.receiveOne();
    for (int round = 1; round <= 100; ++round)
        ASSERT_EQ(first + round, next.receiveOne());
}

TEST(KilledModel, LeavesAnInterruptThatTheNextOneReceives)
{
    qm::test::runAndKill([] {
        const AttachedBoard board;
        if (board.receiveOne() <= 0 || qm_uio_enableInterrupt(board.context()) != 0) return false;
        board.edu().raise(1);
        (void)::raise(SIGKILL);  // before anything is handled or detached
        return false;
    });
    expectOnePendingAndThenNormalLife();
}

TEST(KilledModel, LeavesNoFixToTheNextOne)
{
    qm::test::runAndKill([] {
        const AttachedBoard board;
        board.context()->qm_int_fix.fix_type = 1;
        board.context()->qm_int_fix.int_mask = Edu::kComputationInterrupts;
        if (qm_uio_interruptEnableFix(board.context()) != 0) return false;
        (void)::raise(SIGKILL);
        return false;
    });
    const AttachedBoard next;
    EXPECT_GT(next.receiveOne(), 0);
    EXPECT_TRUE(next.edu().interruptDisabled());
}

}  // namespace
