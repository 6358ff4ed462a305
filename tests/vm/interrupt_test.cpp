// The library's interrupts on a real kernel: two boards on one interrupt line.

#include "attached_board.hpp"
#include "machine.hpp"

#include <future>

namespace {

using namespace qm::test;

constexpr char kAddress[] = "00:03.0";
constexpr char kUioDriver[] = "uio_quillmark";

TEST(Interrupts, RaisedTenThousandTimesAreReceivedTenThousandTimes)
{
    const AttachedBoard board;
    const int first = board.receiveOne();
    for (int round = 1; round < 10'000; ++round)
        ASSERT_EQ(first + round, board.receiveOne()) << pQmErrorStr;
    EXPECT_EQ(0, qm_uio_enableInterrupt(board.context()));
    EXPECT_FALSE(board.isInterrupted());
}

TEST(Interrupts, RaisedWhileDisabledArriveWhenEnabled)
{
    const AttachedBoard board;
    board.raise(1);
    EXPECT_FALSE(board.isInterrupted());  // attaching disables
    EXPECT_EQ(0, qm_uio_enableInterrupt(board.context()));
    const int first = board.wait();
    EXPECT_GT(first, 0);

    board.acknowledge();
    board.raise(2);
    EXPECT_FALSE(board.isInterrupted());  // so does each interrupt
    EXPECT_EQ(0, qm_uio_enableInterrupt(board.context()));
    EXPECT_EQ(first + 1, board.wait());
}

TEST(Interrupts, OfAFixRegisterComeOneForEachEnable)
{
    const AttachedBoard board;
    qm_InterruptContext& context = *board.context();
    context.qm_int_fix = {false, &board.word(AttachedBoard::kStatus), AttachedBoard::kComputationInterrupts,
                          1};
    ASSERT_EQ(0, qm_uio_interruptEnableFix(&context)) << pQmErrorStr;
    ASSERT_EQ(0, qm_uio_enableInterrupt(&context));
    board.compute(5);
    const int first = board.wait();

    board.compute(5);
    EXPECT_FALSE(board.isInterrupted());
    for (int round = 1; round <= 1000; ++round) {
        ASSERT_EQ(0, qm_uio_enableInterrupt(&context));
        board.compute(5);
        ASSERT_EQ(first + round, board.wait()) << pQmErrorStr;
    }
    EXPECT_FALSE(board.interruptDisabled());
}

TEST(Interrupts, OfTwoBoardsOnOneLineAreTheirOwnAndCountedOnce)
{
    const AttachedBoard board(kSlot), other(kOtherSlot);
    ASSERT_EQ(board.irq(), other.irq());
    const int first = board.receiveOne(), otherFirst = other.receiveOne();
    EXPECT_FALSE(board.isInterrupted());
    for (int round = 1; round <= 500; ++round) {
        ASSERT_EQ(0, qm_uio_enableInterrupt(board.context()));
        ASSERT_EQ(0, qm_uio_enableInterrupt(other.context()));
        board.raise(1);
        other.raise(1);
        ASSERT_EQ(first + round, board.wait());
        ASSERT_EQ(otherFirst + round, other.wait());
        board.acknowledge();
        other.acknowledge();
    }
}

/// Of a board that Debian's driver "pci-stub" has.
TEST(Takeover, FromAnotherDriverWorksAndTheBoardCanBeGivenBack)
{
    for (const bool idsAreKnown : {true, false}) {
        SCOPED_TRACE(idsAreKnown);
        outputOf(
            "rmmod uio_quillmark && modprobe pci-stub ids=1234:11e8 && insmod /run/modules/uio_quillmark.ko");
        ASSERT_EQ("pci-stub", driverOf(kAddress));
        if (idsAreKnown) outputOf("echo 1234 11e8 >/sys/bus/pci/drivers/uio_quillmark/new_id");
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
        outputOf("rmmod pci-stub");
    }
}

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

TEST(InterruptThread, HasItsPriorityAndCpuUntilItIsDetached)
{
    const AttachedBoard other(kOtherSlot);
    for (const auto& [isModelTrigger, priority, cpu] : {std::tuple{true, 90, 1}, {false, 61, 2}}) {
        SCOPED_TRACE(priority);
        AttachedBoard board;
        const pid_t thread = board.interruptThread();
        ASSERT_EQ(50, priorityOf(thread));
        board.context()->isModelTrigger = isModelTrigger;
        board.context()->priority = 60;

        ASSERT_EQ(0, qm_uio_setIrqProps(board.context())) << pQmErrorStr;
        EXPECT_EQ(priority, priorityOf(thread));
        EXPECT_EQ(50, priorityOf(other.interruptThread()));
        EXPECT_EQ(std::to_string(cpu) + "\n", board.affinity());
        for (int i = 0; i < 3; ++i)  // the kernel moves interrupt and thread when the next ones come
            EXPECT_GT(board.receiveOne(), 0);
        EXPECT_TRUE(runsOnlyOn(cpu, thread));

        board.detach();
        EXPECT_EQ(50, priorityOf(thread));
        EXPECT_EQ("0\n", board.affinity());
    }
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
        while (thread == 0 || readFile("/proc/self/task/" + std::to_string(thread) + "/wchan") != "uio_read")
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
