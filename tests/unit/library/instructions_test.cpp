// The library's own instructions, which the processor refuses here and a test carries out: port accesses
// (what real ports do not show of them) and the time-stamp counter.

#include "test.hpp"

#include <sys/io.h>
#include <sys/prctl.h>

#include <cmath>
#include <limits>
#include <ucontext.h>

namespace {

using namespace qm::test;

std::vector<std::string> calls;  // "ioperm from count on", "out16 port value" and the like
int refuseWith = 0;

greg_t access(const unsigned char* code, greg_t* registers)
{
    const bool is16Bits = code[0] == 0x66;
    const unsigned operation = code[is16Bits ? 1 : 0];
    if ((operation & ~3U) != 0xEC) return 0;
    const int width = (operation & 1) == 0 ? 8 : is16Bits ? 16 : 32;
    const auto mask = static_cast<greg_t>((1ULL << width) - 1);
    const greg_t port = registers[REG_RDX] & 0xFFFF;
    if ((operation & 2) != 0) {
        calls.push_back(fmt::format("out{} {:x} {:x}", width, port, registers[REG_RAX] & mask));
    } else {
        calls.push_back(fmt::format("in{} {:x}", width, port));
        registers[REG_RAX] = (registers[REG_RAX] & ~mask) | (0x123456789ABCDEF0 & mask);
    }
    return is16Bits ? 2 : 1;
}

// The time-stamp counter of the tests: every read adds a step.
uint64_t counter = 0;
uint64_t counterStep = 0;
int reads = 0;

// The sleeps of the tests.
constexpr timespec kNow = {1000, 999'500'000};
bool isFaked = false;
int interruptions = 0;
std::vector<std::pair<time_t, long>> sleepsUntil;

/// Carries an instruction out; returns its length, or 0 for one that is a fault after all.
greg_t carryOut(const unsigned char* code, greg_t* registers)
{
    if (code[0] != 0x0F || code[1] != 0x31) return access(code, registers);
    ++reads;
    registers[REG_RAX] = static_cast<greg_t>(counter & 0xFFFFFFFF);
    registers[REG_RDX] = static_cast<greg_t>(counter >> 32);
    counter += counterStep;
    return 2;
}

void onFault(int /*signal*/, siginfo_t* /*info*/, void* context)
{
    auto* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    const greg_t length = carryOut(reinterpret_cast<const unsigned char*>(registers[REG_RIP]), registers);
    registers[REG_RIP] += length;
    if (length == 0) (void)signal(SIGSEGV, SIG_DFL);
}

struct Instructions : testing::Test
{
    Instructions()
    {
        struct sigaction action = {};
        action.sa_sigaction = &onFault;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &action, nullptr);
    }
    ~Instructions() override { (void)signal(SIGSEGV, SIG_DFL); }
};

using PortIo = Instructions;  // a thread without access to any port faults

TEST_F(PortIo, EachWidthIsOneInstructionAtThePortsLow16Bits)
{
    EXPECT_EQ(0xF0, qm_inpB(0xE000));
    EXPECT_EQ(0xDEF0, qm_inpW(0x7FFF00010002));
    EXPECT_EQ(0x9ABCDEF0, qm_inpDW(0x10CF8));
    qm_outpB(0xCF9, 0xA1);
    qm_outpW(0xFFFFFFFFFFFFE002, 0xB1B2);
    qm_outpDW(0x1E004, 0xC1C2C3C4);
    EXPECT_THAT(calls, ElementsAre("in8 e000", "in16 2", "in32 cf8", "out8 cf9 a1", "out16 e002 b1b2",
                                   "out32 e004 c1c2c3c4"));
}

TEST_F(PortIo, TheConfigurationPortsAreAskedForAtEveryAccess)
{
    const qm::test::LogCapture log;
    qm_outpDW(0xCF8, 0x80000000);
    qm_outpW(0xCF8, 1);
    (void)qm_inpDW(0xCFC);
    EXPECT_THAT(log.lines(), IsEmpty());
    refuseWith = EPERM;
    (void)qm_inpB(0xCFC);
    EXPECT_THAT(calls, ElementsAre("ioperm cf8 32 1", "out32 cf8 80000000", "ioperm cf8 32 1", "out16 cf8 1",
                                   "ioperm cfc 32 1", "in32 cfc", "ioperm cfc 32 1", "in8 cfc"));
    EXPECT_THAT(log.lines(), ElementsAre("error QM: ioperm returns -1: Operation not permitted"));
    EXPECT_EQ(0, qm_setAbilities());
}

class Waiting : public Instructions
{
protected:
    /// Calls with clock and counter faked.
    template <typename Function, typename... Arguments>
    static auto call(Function function, Arguments... arguments)
    {
        const Faked faked;
        return function(arguments...);
    }

    static int readsOfWaiting(uint32_t ns, uint64_t step)
    {
        counterStep = step;
        reads = 0;
        call(&qm_wait_ns, ns);
        return reads;
    }

private:
    struct Faked
    {
        Faked()
        {
            isFaked = true;
            prctl(PR_SET_TSC, PR_TSC_SIGSEGV);
        }
        ~Faked()
        {
            prctl(PR_SET_TSC, PR_TSC_ENABLE);
            isFaked = false;
        }
    };
};

TEST_F(Waiting, NanosecondsAreTicksOf3300MHzCutToWholeOnes)
{
    EXPECT_EQ(3'300'000'000U, qm_getTSCFrequency());
    EXPECT_EQ(1, readsOfWaiting(0, 1));
    EXPECT_EQ(1 + 3, readsOfWaiting(1, 1)) << "3.3 ticks";
    EXPECT_EQ(1 + 4, readsOfWaiting(100, 100)) << "to the first reading at or after 330 ticks";
    EXPECT_EQ(1 + 15, readsOfWaiting(UINT32_MAX, 1'000'000'000)) << "14.17e9 ticks, more than 32 bits hold";
    counter = UINT64_MAX - 5;
    EXPECT_EQ(1 + 33, readsOfWaiting(10, 1)) << "over the counter's end";
}

TEST_F(Waiting, ElapsedTimeIsTheCounterInSecondsAndTheStartIsTheFirstCall)
{
    counter = 8'250'000'000;
    EXPECT_EQ(2.5, call(&qm_getElapsedTime));
    EXPECT_EQ(0.0, call(&qm_getSecondsSinceStart));
    counter += 4'950'000'000;
    EXPECT_EQ(1.5, call(&qm_getSecondsSinceStart));
    EXPECT_EQ(7.5, qm_times_five(1.5));
}

TEST_F(Waiting, SecondsBelowAMillisecondAreWaitedBusily)
{
    counterStep = 3'300;  // a microsecond
    call(&qm_wait_s, 0.0009);
    EXPECT_THAT(reads, AllOf(testing::Ge(1 + 899), testing::Le(1 + 900)));
    EXPECT_THAT(sleepsUntil, IsEmpty());
}

TEST_F(Waiting, LongerOnesSleepForWholeMillisecondsWhateverSignalsCome)
{
    interruptions = 1;
    call(&qm_wait_s, 0.0015);
    call(&qm_wait_s, 1.001);  // 1000.99... milliseconds
    call(&qm_wait_s, 5000.0);
    constexpr std::pair afterSignal(1001, 500'000);
    EXPECT_THAT(sleepsUntil, ElementsAre(afterSignal, afterSignal, std::pair(1001, 999'500'000),
                                         std::pair(6000, 999'500'000)));
    sleepsUntil.clear();
    call(&qm_wait_s, std::numeric_limits<double>::infinity());
    ASSERT_EQ(1U, sleepsUntil.size());
    EXPECT_LT(1'000'000'000, sleepsUntil[0].first) << "for ever, as far as that goes";
    EXPECT_EQ(0, reads);
}

TEST_F(Waiting, NoTimeIsNotWaited)
{
    for (const double delay : {0.0, -0.0005, -5000.0, std::nan("")})
        call(&qm_wait_s, delay);
    EXPECT_EQ(0, reads);
    EXPECT_THAT(sleepsUntil, IsEmpty());
}

}  // namespace

INTERPOSED int ioperm(unsigned long from, unsigned long count, int on) noexcept
{
    calls.push_back(fmt::format("ioperm {:x} {} {}", from, count, on));
    errno = refuseWith;
    return refuseWith == 0 ? 0 : -1;
}

INTERPOSED int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    if (!isFaked || clock != CLOCK_MONOTONIC) return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    *now = kNow;
    return 0;
}

INTERPOSED int clock_nanosleep(clockid_t clock, int flags, const timespec* until, timespec* /*left*/)
{
    EXPECT_EQ(CLOCK_MONOTONIC, clock);
    EXPECT_EQ(TIMER_ABSTIME, flags);
    sleepsUntil.emplace_back(until->tv_sec, until->tv_nsec);
    return interruptions-- > 0 ? EINTR : 0;
}
