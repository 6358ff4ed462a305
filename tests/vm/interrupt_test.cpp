// The library's interrupts on a real kernel: two boards on one interrupt line.

#include "attached_board.hpp"
#include "machine.hpp"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <future>

namespace {

using qm::test::AttachedBoard;
using qm::test::contentOf;
using qm::test::driverOf;
using qm::test::Edu;
using qm::test::exampleIn;
using qm::test::kOtherSlot;
using qm::test::kSlot;
using qm::test::linesOf;

constexpr char kAddress[] = "00:03.0";
constexpr char kUioDriver[] = "uio_quillmark";

TEST(Interrupts, RaisedTenThousandTimesAreReceivedTenThousandTimes)
{
    const AttachedBoard board;
    ASSERT_EQ(0, qm_uio_enableInterrupt(board.context()));
    board.edu().raise(1);
    const int first = board.wait();
    for (int round = 1; round < 10'000; ++round) {
        board.edu().acknowledge();
        ASSERT_EQ(0, qm_uio_enableInterrupt(board.context())) << pQmErrorStr;
        board.edu().raise(1);
        ASSERT_EQ(first + round, board.wait()) << pQmErrorStr;
    }
    board.edu().acknowledge();
    EXPECT_EQ(0, qm_uio_enableInterrupt(board.context()));
    EXPECT_FALSE(board.isInterrupted());
}

TEST(Interrupts, RaisedWhileDisabledArriveWhenEnabled)
{
    const AttachedBoard board;
    board.edu().raise(1);
    EXPECT_FALSE(board.isInterrupted());  // attaching disables
    EXPECT_EQ(0, qm_uio_enableInterrupt(board.context()));
    const int first = board.wait();
    EXPECT_GT(first, 0);

    board.edu().acknowledge();
    board.edu().raise(2);
    EXPECT_FALSE(board.isInterrupted());  // so does each interrupt
    EXPECT_EQ(0, qm_uio_enableInterrupt(board.context()));
    EXPECT_EQ(first + 1, board.wait());
}

TEST(Interrupts, OfAFixRegisterComeOneForEachEnable)
{
    const AttachedBoard board;
    qm_InterruptContext& context = *board.context();
    auto* const registers = static_cast<volatile uint32_t*>(qm_mapMemory(&context.pciInfo, 0));
    ASSERT_NE(nullptr, registers);
    context.qm_int_fix = {false, registers + Edu::kStatus / 4, Edu::kComputationInterrupts, 1};
    ASSERT_EQ(0, qm_uio_interruptEnableFix(&context)) << pQmErrorStr;
    ASSERT_EQ(0, qm_uio_enableInterrupt(&context));
    board.edu().compute(5);
    const int first = board.wait();

    board.edu().compute(5);
    EXPECT_FALSE(board.isInterrupted());
    for (int round = 1; round <= 1000; ++round) {
        ASSERT_EQ(0, qm_uio_enableInterrupt(&context));
        board.edu().compute(5);
        ASSERT_EQ(first + round, board.wait()) << pQmErrorStr;
    }
    EXPECT_FALSE(board.edu().interruptDisabled());
}

TEST(Interrupts, WithAFixThatTheDriverLacksAreRefused)
{
    const AttachedBoard board;
    board.context()->qm_int_fix.fix_type = 99;
    EXPECT_EQ(-EINVAL, qm_uio_interruptEnableFix(board.context()));
    EXPECT_STREQ("Failed to enable Quillmark interrupt fix: Invalid argument\n", pQmErrorStr);
}

TEST(Interrupts, OfTwoBoardsOnOneLineAreTheirOwn)
{
    const AttachedBoard board(kSlot), other(kOtherSlot);
    ASSERT_EQ(board.edu().irq(), other.edu().irq());
    const int first = board.receiveOne(), otherFirst = other.receiveOne();
    EXPECT_FALSE(board.isInterrupted());
    for (int round = 1; round <= 500; ++round) {
        ASSERT_EQ(0, qm_uio_enableInterrupt(board.context()));
        ASSERT_EQ(0, qm_uio_enableInterrupt(other.context()));
        board.edu().raise(1);
        ASSERT_EQ(first + round, board.wait());
        board.edu().acknowledge();
        other.edu().raise(1);
        ASSERT_EQ(otherFirst + round, other.wait());
        other.edu().acknowledge();
    }
    EXPECT_FALSE(board.isInterrupted());
}

TEST(Interrupts, OfTwoBoardsAtOnceAreCountedOnce)
{
    const AttachedBoard board(kSlot), other(kOtherSlot);
    const int first = board.receiveOne(), otherFirst = other.receiveOne();
    for (int round = 1; round <= 500; ++round) {
        ASSERT_EQ(0, qm_uio_enableInterrupt(board.context()));
        ASSERT_EQ(0, qm_uio_enableInterrupt(other.context()));
        board.edu().raise(1);
        other.edu().raise(1);
        ASSERT_EQ(first + round, board.wait());
        ASSERT_EQ(otherFirst + round, other.wait());
        board.edu().acknowledge();
        other.edu().acknowledge();
    }
}

TEST(Binding, OfABoardWhoseIdsTheDriverKnowsTakesItAgain)
{
    qm_PCIDevice board = exampleIn(kSlot);
    ASSERT_LE(0, qm_uio_bindDeviceToUio(&board));
    ASSERT_EQ(0, qm_pci_unbindDriver(&board));
    ASSERT_EQ("", driverOf(kAddress));
    ASSERT_EQ(EEXIST, qm::test::teachIds());
    EXPECT_LE(0, qm_uio_bindDeviceToUio(&board));
    EXPECT_EQ(kUioDriver, driverOf(kAddress));
    EXPECT_GT(AttachedBoard().receiveOne(), 0);
}

/// A board that Debian's driver "pci-stub" has.
class Takeover : public testing::TestWithParam<bool>
{
protected:
    void SetUp() override
    {
        const bool idsAreKnown = GetParam();
        linesOf(
            "rmmod uio_quillmark && modprobe pci-stub ids=1234:11e8 && insmod /run/modules/uio_quillmark.ko");
        ASSERT_EQ("pci-stub", driverOf(kAddress));
        if (idsAreKnown) {
            ASSERT_EQ(0, qm::test::teachIds());
        }
    }
    void TearDown() override { linesOf("rmmod pci-stub"); }
};

TEST_P(Takeover, FromAnotherDriverWorksAndTheBoardCanBeGivenBack)
{
    {
        const AttachedBoard board;
        EXPECT_EQ(kUioDriver, driverOf(kAddress));
        EXPECT_GT(board.receiveOne(), 0);
    }
    EXPECT_EQ("pci-stub", driverOf("00:07.0"));  // nobody asked for that one
    qm_PCIDevice board = exampleIn(kSlot);
    EXPECT_EQ(0, qm_pci_unbindDriver(&board));
    EXPECT_EQ(0, qm_pci_bindDriver(&board, "pci-stub"));
    EXPECT_EQ("pci-stub", driverOf(kAddress));
}

INSTANTIATE_TEST_SUITE_P(Of, Takeover, testing::Bool(),
                         [](const auto& row) { return row.param ? "KnownIds" : "NewIds"; });

int priorityOf(pid_t thread)
{
    sched_param priority{};
    EXPECT_EQ(0, ::sched_getparam(thread, &priority));
    EXPECT_EQ(SCHED_FIFO, ::sched_getscheduler(thread));
    return priority.sched_priority;
}

bool runsOnlyOn(int cpu, pid_t thread)
{
    cpu_set_t cpus;
    EXPECT_EQ(0, ::sched_getaffinity(thread, sizeof cpus, &cpus));
    return CPU_COUNT(&cpus) == 1 && CPU_ISSET(cpu, &cpus);
}

struct Placement
{
    const char* name;
    bool isModelTrigger;
    int consumer, priority, cpu;
};

class InterruptThread : public testing::TestWithParam<Placement>
{};

TEST_P(InterruptThread, HasItsPriorityAndCpuUntilItIsDetached)
{
    const Placement& placement = GetParam();
    AttachedBoard board;
    const pid_t thread = board.interruptThread();
    ASSERT_EQ(50, priorityOf(thread));
    board.context()->isModelTrigger = placement.isModelTrigger;
    board.context()->priority = placement.consumer;

    ASSERT_EQ(0, qm_uio_setIrqProps(board.context())) << pQmErrorStr;
    EXPECT_EQ(placement.cpu, board.context()->irq_cpu_assigned);
    EXPECT_EQ(placement.priority, priorityOf(thread));
    EXPECT_EQ(std::to_string(placement.cpu) + "\n", board.affinity());
    for (int i = 0; i < 3; ++i)  // the kernel moves interrupt and thread when the next ones come
        EXPECT_GT(board.receiveOne(), 0);
    EXPECT_TRUE(runsOnlyOn(placement.cpu, thread));

    board.detach();
    EXPECT_EQ(50, priorityOf(thread));
    EXPECT_EQ("0\n", board.affinity());
}

INSTANTIATE_TEST_SUITE_P(Of, InterruptThread,
                         testing::Values(Placement{"TheModelsTrigger", true, 60, 90, 1},
                                         Placement{"AnotherBlock", false, 60, 61, 2},
                                         Placement{"ABlockOfTheHighestPriority", false, 99, 99, 2}),
                         [](const auto& row) { return row.param.name; });

TEST(InterruptThreads, OfASharedLineHavePrioritiesOfTheirOwnAndStayOnTheTriggersCpu)
{
    AttachedBoard trigger(kSlot), other(kOtherSlot);
    const pid_t otherThread = other.interruptThread();
    trigger.context()->isModelTrigger = true;
    ASSERT_EQ(0, qm_uio_setIrqProps(trigger.context())) << pQmErrorStr;
    ASSERT_EQ(0, qm_uio_setIrqProps(other.context())) << pQmErrorStr;
    EXPECT_EQ(90, priorityOf(trigger.interruptThread()));
    EXPECT_EQ(61, priorityOf(otherThread));
    EXPECT_EQ(2, other.context()->irq_cpu_assigned);
    EXPECT_EQ("1\n", other.affinity());

    other.detach();
    EXPECT_EQ(50, priorityOf(otherThread));
    EXPECT_EQ(90, priorityOf(trigger.interruptThread()));
}

struct Waiter
{
    const AttachedBoard& board;
    std::atomic<pid_t> thread{0};

    int run()
    {
        thread = ::gettid();
        return board.wait();
    }
    void awaitBlocked() const
    {
        while (thread == 0 || contentOf("/proc/self/task/" + std::to_string(thread) + "/wchan") != "uio_read")
            ::sched_yield();
    }
};

TEST(WaitingThread, CanBeDestroyedAndTheProcessReceivesTheNextInterrupt)
{
    const AttachedBoard board;
    Waiter waiter{board};
    void* const thread = qm_createThread(
        [](void* argument) -> void* {
            (void)static_cast<Waiter*>(argument)->run();
            return nullptr;
        },
        &waiter);
    ASSERT_NE(nullptr, thread);
    waiter.awaitBlocked();
    EXPECT_EQ(0, qm_destroyThread(thread));
    EXPECT_GT(board.receiveOne(), 0);
}

TEST(WaitingThread, LearnsThatTheBoardWasTakenAway)
{
    {
        const AttachedBoard board;
        Waiter waiter{board};
        auto result = std::async(std::launch::async, &Waiter::run, &waiter);
        waiter.awaitBlocked();
        EXPECT_EQ(0, qm_pci_unbindDriver(&board.context()->pciInfo));
        EXPECT_EQ(-EIO, result.get());
        EXPECT_STREQ("Interrupt Wait: Failed to read UIO device: Input/output error\n", pQmErrorStr);
    }
    EXPECT_GT(AttachedBoard().receiveOne(), 0);
}

}  // namespace
