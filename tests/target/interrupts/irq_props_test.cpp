#include "interrupt_test.hpp"

#include <climits>

namespace {

using namespace qm::test;

using Raised = std::vector<std::pair<pid_t, int>>;

/** The interrupt of "/dev/uio7", and what its thread was given. */
struct IrqProperties : InterruptTest
{
    IrqProperties() { context_->uioIndex = 7; }
    /** Nothing in the list: the threads are left alone. */
    static Raised raisedTo(int priority) { return priority > 0 ? Raised{{kThread, priority}} : Raised{}; }

    /** Begins the next row of a table. */
    void restart(int currentPriority)
    {
        pQmErrorStr[0] = '\0';
        kernel.raised.clear();
        kernel.priorities.clear();
        if (currentPriority >= 0) kernel.priorities[kThread] = currentPriority;
    }
};

TEST_F(IrqProperties, FollowTheConsumerOrTheModelsTrigger)
{
    constexpr bool kTrigger = true;
    struct
    {
        const char* name;
        bool isModelTrigger;
        int consumer, current;  // priorities; current -1: cannot be read
        const char* list;
        int raisedTo;  // 0: left alone
        const char* listAfter;
        int cpu;
        const char* error = "";
    } const rows[] = {
        {"one above the consumer", !kTrigger, 60, 50, "0-2\n", 61, "2\n", 2},
        {"a thread that is high enough", !kTrigger, 60, 61, "0-2\n", 0, "0-2\n", -1},
        {"an impossible consumer", !kTrigger, INT_MAX, 50, "0-2\n", 99, "2\n", 2},
        {"trigger", kTrigger, 60, 50, "0-2\n", 90, "1\n", 1},
        {"trigger, higher already", kTrigger, 60, 95, "0-2\n", 95, "1\n", 1},
        {"trigger, unknown priority", kTrigger, 60, -1, "0-2\n", 0, "0-2\n", 1,
         "Failed to set priority of IRQ thread PID 4711 to 90"},
        {"already on CPU 1", !kTrigger, 60, 50, "1\n", 61, "1\n", 2},
        {"CPU 1 among blanks", !kTrigger, 60, 50, " \t1 2\n", 61, " \t1 2\n", 2},
        {"CPU 1 and another", !kTrigger, 60, 50, "1,2\n", 61, "2\n", 2},
        {"no list", !kTrigger, 60, 50, "", 61, "", 2,
         "Failed to set IRQ 16 affinity to CPU 2: Input/output error"},
        {"a consumer below 0", !kTrigger, -1, -1, "0-2\n", 0, "0-2\n", 2,
         "Requested invalid IRQ thread priority value 0. Priority must be between 1 and 99."},
        {"a consumer far below 0", !kTrigger, -2, -1, "0-2\n", 0, "0-2\n", -1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        restart(row.current);
        sandbox::writeFile(kAffinity, row.list);
        context_->isModelTrigger = row.isModelTrigger;
        context_->priority = row.consumer;
        EXPECT_EQ(*row.error == '\0' ? 0 : -1, qm_uio_setIrqProps(context_));
        EXPECT_STREQ(row.error, pQmErrorStr);
        EXPECT_EQ(raisedTo(row.raisedTo), kernel.raised);
        EXPECT_EQ(row.listAfter, sandbox::readFile(kAffinity));
        EXPECT_EQ(row.cpu, context_->irq_cpu_assigned);
    }
}

TEST_F(IrqProperties, WithoutAnAsynchronousCpuLeaveTheInterruptWhereItIs)
{
    sandbox::writeFile("/sys/devices/system/cpu/possible", "0-1\n");
    kernel.answers[kAffinity] = [] { return -EINVAL; };
    EXPECT_EQ(0, qm_uio_setIrqProps(context_));
    EXPECT_EQ(-1, context_->irq_cpu_assigned);
    context_->isModelTrigger = true;
    EXPECT_EQ(-1, qm_uio_setIrqProps(context_));
    EXPECT_STREQ("Failed to set IRQ 16 affinity to CPU 1: Invalid argument", pQmErrorStr);
}

TEST_F(IrqProperties, AResetOnlyLowersThePriority)
{
    for (const auto& [asked, current, loweredTo] :
         {std::tuple{0, 61, 50}, {0, 40, 0}, {30, 50, 30}, {50, 50, 0}, {200, 120, 99}, {-1, 61, -1}}) {
        SCOPED_TRACE(testing::Message() << asked << " for a thread at " << current);
        restart(current);
        context_->defaultPriority = asked;
        EXPECT_EQ(loweredTo < 0 ? -1 : 0, qm_uio_resetIrqProps(context_));
        EXPECT_EQ(raisedTo(loweredTo), kernel.raised);
    }
    EXPECT_STREQ("Invalid IRQ thread priority value -1. Priority must be between 1 and 99.", pQmErrorStr);
    EXPECT_EQ("0\n", sandbox::readFile(kAffinity));
    kernel.refusal = EPERM;
    context_->defaultPriority = 50;
    EXPECT_EQ(-1, qm_uio_resetIrqProps(context_));
    EXPECT_STREQ("Failed to set priority of IRQ thread PID 4711 to 50", pQmErrorStr);
}

TEST_F(IrqProperties, GoToTheOneThreadNamedLikeTheDeviceBehindTheFirstDash)
{
    // name of the device, of a thread beside "irq/16-edu", errno (0: exactly one is found)
    for (const auto& [device, thread, error] :
         {std::tuple{"edu\n", "irq/16-s-edu\n", 0},
          {"edu\n", "kirq/16-edu\n", 0},
          {"edu\n", "irq/17-edu\n", E2BIG},
          {"a-board-of-a-long-name\r\n", "irq/17-a-board-of-a-long-name\n", 0},
          {"name\n", "irq/17-a-board-of-a-long-name\n", ENOENT},
          {"edu1\n", "irq/17-edu12\n", ENOENT},
          {"\n", "irq/17-\n", EINVAL}}) {
        SCOPED_TRACE(testing::Message() << device << thread);
        restart(50);
        kernel.priorities[5000] = 50;
        sandbox::writeFile(kUio + "name", device);
        sandbox::writeFile("/proc/5000/comm", thread);
        EXPECT_EQ(error == 0 ? 0 : -1, qm_uio_setIrqProps(context_));
        if (error == 0) continue;
        EXPECT_EQ(error, errno);
        EXPECT_STREQ("Failed to find IRQ thread PID for UIO 7", pQmErrorStr);
        EXPECT_THAT(kernel.raised, IsEmpty());
    }
}

TEST_F(IrqProperties, NeedAnInterruptNumberThatIsAWholeLineOfUpToFiveDigits)
{
    for (const char* line : {"", "x\n", "16 \n", "0x10\n", "-1\n", "100000\n", "99999999999\n"}) {
        SCOPED_TRACE(line);
        sandbox::writeFile(kUio + "device/irq", line);
        EXPECT_EQ(-1, qm_uio_setIrqProps(context_));
        EXPECT_STREQ("Failed to get IRQ number for UIO 7", pQmErrorStr);
        EXPECT_EQ(-1, qm_uio_resetIrqProps(context_));
        EXPECT_STREQ("Failed to reset IRQ affinity for UIO 7", pQmErrorStr);
    }
    sandbox::writeFile("/proc/irq/99999/smp_affinity_list", "1\n");
    sandbox::writeFile(kUio + "device/irq", "99999\r\n");
    EXPECT_EQ(0, qm_uio_resetIrqProps(context_));
    EXPECT_EQ("0\n", sandbox::readFile("/proc/irq/99999/smp_affinity_list"));
}

}  // namespace
