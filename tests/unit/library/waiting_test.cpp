#include "faulting_instructions.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The time-stamp counter of the tests: every read adds a step.
uint64_t counter = 0;
uint64_t counterStep = 0;
int reads = 0;

// The sleeps of the tests.
constexpr timespec kNow = {1000, 999'500'000};
bool isFaked = false;
int interruptions = 0;
std::vector<std::pair<time_t, long>> sleepsUntil;

std::size_t readCounter(const unsigned char* code, greg_t* registers)
{
    if (code[0] != 0x0F || code[1] != 0x31) return 0;
    ++reads;
    registers[REG_RAX] = static_cast<greg_t>(counter & 0xFFFFFFFF);
    registers[REG_RDX] = static_cast<greg_t>(counter >> 32);
    counter += counterStep;
    return 2;
}

class Waiting : public testing::Test
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
        FaultingInstructions counter_{&readCounter};
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
    EXPECT_EQ(1 + 33, readsOfWaiting(10, 1));
    EXPECT_EQ(1 + 4, readsOfWaiting(100, 100)) << "to the first reading at or after 330 ticks";
    EXPECT_EQ(1 + 15, readsOfWaiting(UINT32_MAX, 1'000'000'000)) << "14.17e9 ticks, more than 32 bits hold";
    counter = UINT64_MAX - 5;
    EXPECT_EQ(1 + 33, readsOfWaiting(10, 1)) << "over the counter's end";
}

TEST_F(Waiting, ElapsedTimeIsTheCounterInSeconds)
{
    counter = 8'250'000'000;
    EXPECT_EQ(2.5, call(&qm_getElapsedTime));
}

TEST_F(Waiting, SecondsSinceStartBeginWithTheFirstCall)
{
    counter = 33'000'000'000;
    EXPECT_EQ(0.0, call(&qm_getSecondsSinceStart));
    counter += 4'950'000'000;
    EXPECT_EQ(1.5, call(&qm_getSecondsSinceStart));
}

TEST_F(Waiting, SecondsBelowAMillisecondAreWaitedBusily)
{
    counterStep = 3'300;  // a microsecond
    call(&qm_wait_s, 0.0009);
    EXPECT_THAT(reads, testing::AllOf(testing::Ge(1 + 899), testing::Le(1 + 900)));
    EXPECT_THAT(sleepsUntil, IsEmpty());
}

TEST_F(Waiting, LongerOnesSleepForWholeMilliseconds)
{
    call(&qm_wait_s, 0.001);
    call(&qm_wait_s, 0.0015);
    call(&qm_wait_s, 1.001);  // 1000.99... milliseconds
    call(&qm_wait_s, 5000.0);
    EXPECT_THAT(sleepsUntil, ElementsAre(std::pair(1001, 500'000), std::pair(1001, 500'000),
                                         std::pair(1001, 999'500'000), std::pair(6000, 999'500'000)));
    sleepsUntil.clear();
    call(&qm_wait_s, std::numeric_limits<double>::infinity());
    ASSERT_EQ(1U, sleepsUntil.size());
    EXPECT_LT(1'000'000'000, sleepsUntil[0].first) << "for ever, as far as that goes";
    EXPECT_EQ(0, reads);
}

TEST_F(Waiting, ASleepGoesOnAfterASignalToTheSameEnd)
{
    interruptions = 2;
    call(&qm_wait_s, 0.002);
    constexpr std::pair end(1001, 1'500'000);
    EXPECT_THAT(sleepsUntil, ElementsAre(end, end, end));
}

TEST_F(Waiting, NoTimeIsNotWaited)
{
    for (const double delay : {0.0, -0.0005, -1.0, -5000.0, std::nan(""), -std::nan("")})
        call(&qm_wait_s, delay);
    EXPECT_EQ(0, reads);
    EXPECT_THAT(sleepsUntil, IsEmpty());
}

TEST(TimesFive, IsFiveTimes)
{
    EXPECT_EQ(-12.5, qm_times_five(-2.5));
}

}  // namespace

#define INTERPOSED extern "C" __attribute__((visibility("default")))

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
