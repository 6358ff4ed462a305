#include <qm/base_rate.h>

#include <pthread.h>

#include <atomic>
#include <ctime>

namespace {

constexpr long kWaitNs = 100'000;
constexpr long kNsPerSecond = 1'000'000'000;

std::atomic<bool> baseRateStarted = false;  // Deliberate: once started, it never counts as stopped.
pthread_mutex_t baseRateSyncMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t baseRateSyncCond = PTHREAD_COND_INITIALIZER;

/// Holds the mutex, also while a cancelled thread unwinds out of the wait.
class BaseRateLock
{
public:
    BaseRateLock() { ::pthread_mutex_lock(&baseRateSyncMutex); }
    ~BaseRateLock() { ::pthread_mutex_unlock(&baseRateSyncMutex); }
    BaseRateLock(const BaseRateLock&) = delete;
    BaseRateLock& operator=(const BaseRateLock&) = delete;
};

timespec waitDeadline()
{
    timespec deadline{};
    ::clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_nsec += kWaitNs;
    if (deadline.tv_nsec >= kNsPerSecond) {
        deadline.tv_nsec -= kNsPerSecond;
        ++deadline.tv_sec;
    }
    return deadline;
}

}  // namespace

int qm_waitForBaseRateSync(void)
{
    if (baseRateStarted.load(std::memory_order_acquire)) return 0;
    const timespec deadline = waitDeadline();
    const BaseRateLock lock;
    while (!baseRateStarted.load(std::memory_order_relaxed)) {
        if (::pthread_cond_timedwait(&baseRateSyncCond, &baseRateSyncMutex, &deadline) != 0) return -1;
    }
    return 0;
}

void qm_signalBaseRateSync(void)
{
    if (baseRateStarted.load(std::memory_order_acquire)) return;
    const BaseRateLock lock;
    baseRateStarted.store(true, std::memory_order_release);
    ::pthread_cond_broadcast(&baseRateSyncCond);
}
