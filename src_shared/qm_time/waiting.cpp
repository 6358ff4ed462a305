#include <qm/time.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <immintrin.h>
#include <x86intrin.h>

namespace {

/// Hz. Deliberate: fixed, at whatever rate the processor's counter runs.
constexpr uint64_t kCounterFrequency = 3'300'000'000;
constexpr double kNsPerSecond = 1e9;
constexpr double kMsPerSecond = 1000.0;
constexpr double kLongestMs = 1e15;  // more than anybody waits, and an end that the clock can hold

/// The time-stamp counter, in order with the loads before and after.
uint64_t readCounter()
{
    ::_mm_lfence();
    const uint64_t counter = ::__rdtsc();
    ::_mm_lfence();
    return counter;
}

timespec after(timespec start, int64_t ms)
{
    constexpr int64_t kWholeSecond = 1000;
    constexpr long kNsPerMs = 1'000'000;
    constexpr long kNsOfSecond = 1'000'000'000;
    start.tv_sec += ms / kWholeSecond;
    start.tv_nsec += ms % kWholeSecond * kNsPerMs;
    if (start.tv_nsec >= kNsOfSecond) {
        start.tv_nsec -= kNsOfSecond;
        ++start.tv_sec;
    }
    return start;
}

/// To its end: a platform's change of rights, too, interrupts every thread's sleep by a signal.
void sleepMs(int64_t ms)
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const timespec end = after(now, ms);
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

}  // namespace

double qm_times_five(double in)
{
    return in * 5.0;
}

uint64_t qm_getTSCFrequency(void)
{
    return kCounterFrequency;
}

void qm_wait_ns(uint32_t delay_ns)
{
    const auto ticks =
        static_cast<uint64_t>(static_cast<double>(kCounterFrequency) * delay_ns / kNsPerSecond);
    const uint64_t start = readCounter();
    for (uint64_t now = start; now - start < ticks;)
        now = readCounter();
}

void qm_wait_s(double delay_s)
{
    if (!(delay_s > 0.0)) return;  // not a number, too
    // Deliberate: the part below a whole millisecond is dropped from longer delays.
    const auto ms = static_cast<int64_t>(std::min(kMsPerSecond * delay_s, kLongestMs));
    if (ms == 0)
        qm_wait_ns(static_cast<uint32_t>(delay_s * kNsPerSecond));
    else
        sleepMs(ms);
}

double qm_getElapsedTime(void)
{
    return static_cast<double>(readCounter()) / static_cast<double>(kCounterFrequency);
}

double qm_getSecondsSinceStart(void)
{
    static double start = 0.0;
    if (start == 0.0) start = qm_getElapsedTime();
    return qm_getElapsedTime() - start;
}
