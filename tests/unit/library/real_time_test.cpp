// What a step may call without leaving its deadline to others: no allocation, no system call but the call's
// own.

#include "allocations.hpp"
#include "test.hpp"
#include <slrealtime/Standalone.hpp>

#include <sys/io.h>
#include <sys/ptrace.h>

#include <ucontext.h>

namespace {

using namespace qm::test;

constexpr long kMark = SYS_getppid;  // nothing here calls it otherwise

[[noreturn]] void actTraced(const std::function<void()>& act)
{
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
    (void)raise(SIGSTOP);
    (void)syscall(kMark);
    act();
    (void)syscall(kMark);
    _exit(0);
}

/// The next entry to a system call, or -1 at the end of the process.
long nextEntry(pid_t child, int& status)
{
    long signal = 0;
    for (;;) {
        if (ptrace(PTRACE_SYSCALL, child, nullptr, signal) != 0 || waitpid(child, &status, 0) < 0 ||
            !WIFSTOPPED(status))
            return -1;
        const bool atSystemCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
        signal = atSystemCall ? 0 : WSTOPSIG(status);  // the process's own signals reach it
        __ptrace_syscall_info info{};
        if (!atSystemCall || ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info) <= 0) continue;
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) return static_cast<long>(info.entry.nr);
    }
}

/// Numbers of the system calls that `act` makes, in order; made by a traced copy of this process.
std::vector<long> systemCallsOf(const std::function<void()>& act)
{
    const pid_t child = fork();
    if (child == 0) actTraced(act);
    int status = 0;
    (void)waitpid(child, &status, 0);
    std::vector<long> calls;
    int marks = 0;
    if (WIFSTOPPED(status)) {
        (void)ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
        for (long call = nextEntry(child, status); call >= 0; call = nextEntry(child, status)) {
            if (call == kMark)
                ++marks;
            else if (marks == 1)
                calls.push_back(call);
        }
    }
    if (marks != 2 || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("the traced process did not come to its end");
    return calls;
}

constexpr uint32_t kType = 7;
constexpr uint32_t kId = 3;
constexpr uint64_t kUid = 0x123456789;

/** A pipe that always holds interrupts, and a file in place of the board's configuration. */
class Interrupt
{
public:
    Interrupt()
    {
        std::array<int, 2> uio{};
        EXPECT_EQ(0, pipe(uio.data()));
        EXPECT_EQ(sizeof counts_, write(uio[1], counts_.data(), sizeof counts_));
        context.uiofd = uio[0];
        context.configfd = memfd_create("config", 0);
        context.qm_int_fix.target_register = &register_;
    }

    qm_InterruptContext context{};

private:
    std::array<int, 16> counts_{};
    uint32_t register_ = 0;
};

struct RealTime : testing::Test
{
    /** The system calls of one `act` that is not the first one; it must not allocate. */
    static std::vector<long> callsOf(const std::function<void()>& act)
    {
        act();
        const long before = allocations;
        act();
        EXPECT_EQ(before, allocations);
        return systemCallsOf(act);
    }
};

}  // namespace

TEST_F(RealTime, WaitingForAnInterruptIsOneReadAndEnablingItOneWrite)
{
    Interrupt interrupt;
    EXPECT_THAT(callsOf([&] { EXPECT_EQ(0, qm_uio_interruptWait(&interrupt.context)); }),
                ElementsAre(SYS_read));
    EXPECT_THAT(callsOf([&] { EXPECT_EQ(0, qm_uio_enableInterrupt(&interrupt.context)); }),
                ElementsAre(SYS_pwrite64));
    interrupt.context.qm_int_fix.requested_by_user = true;
    EXPECT_THAT(callsOf([&] { EXPECT_EQ(0, qm_uio_enableInterrupt(&interrupt.context)); }), IsEmpty());
}

TEST_F(RealTime, TheServicesStayInUserSpaceAroundAStep)
{
    std::vector<std::unique_ptr<slrealtime::Worker>> workers;
    for (const auto& name : slrealtime::standalone::workerNames())
        workers.push_back(slrealtime::standalone::createWorker(name));
    ASSERT_EQ(3U, workers.size());
    const slrealtime::TaskInfo task;
    EXPECT_THAT(callsOf([&] {
                    for (const auto& worker : workers) {
                        worker->preStep(&task);
                        worker->postStep(&task);
                    }
                }),
                IsEmpty());
}

TEST_F(RealTime, APortIsReadByOneInstruction)
{
    constexpr unsigned port = 0x80;
    struct sigaction skip
    {};
    skip.sa_flags = SA_SIGINFO;
    skip.sa_sigaction = [](int, siginfo_t*, void* at) {
        ++static_cast<ucontext_t*>(at)->uc_mcontext.gregs[REG_RIP];
    };
    (void)sigaction(SIGSEGV, &skip, nullptr);  // without the right to read it the instruction faults
    const auto refused = ioperm(port, 1, 1) != 0 ? std::vector<long>{SYS_rt_sigreturn} : std::vector<long>{};
    EXPECT_EQ(refused, callsOf([] { (void)qm_inpB(port); }));
}

TEST_F(RealTime, RegistryLookUpsStayInUserSpace)
{
    qm_mod_info* const module = qm_module_register(kType, kId);
    (void)qm_module_alloc_custom_data(module, 16);
    (void)qm_block_register(module, kType, kId);
    (void)qm_block_register_with_uid(module, kType, kUid);
    EXPECT_THAT(callsOf([&] {
                    EXPECT_EQ(module, qm_module_get_single(kType, kId));
                    EXPECT_NE(nullptr, qm_module_get_custom_data(kType, kId));
                    EXPECT_NE(nullptr, qm_block_get(module, kType, kId));
                    EXPECT_NE(nullptr, qm_block_get_by_uid(module, kType, kUid));
                    EXPECT_EQ(nullptr, qm_block_get(module, kType, kId + 1));
                }),
                IsEmpty());
}

TEST_F(RealTime, LocksThatAreFreeAndShortWaitsStayInUserSpace)
{
    void* const mutex = qm_createMutex(true);              // unlocked all the same
    static void* const semaphore = qm_createSemaphore(0);  // its storage is never freed
    qm_signalBaseRateSync();
    EXPECT_THAT(callsOf([&] {
                    qm_lockMutex(mutex);
                    EXPECT_FALSE(qm_tryLockMutex(mutex));
                    qm_unlockMutex(mutex);
                    EXPECT_EQ(0, qm_releaseSemaphore(semaphore));
                    EXPECT_EQ(0, qm_waitForSemaphore(semaphore));
                    qm_signalBaseRateSync();
                    EXPECT_EQ(0, qm_waitForBaseRateSync());
                    qm_wait_ns(1000);
                    qm_wait_s(0.0001);
                    EXPECT_GT(qm_getElapsedTime(), 0.0);
                }),
                IsEmpty());
    (void)qm_destroySemaphore(semaphore);
    qm_destroyMutex(mutex);
}
