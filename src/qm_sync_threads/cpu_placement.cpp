#include "qm_common/directory.hpp"
#include "qm_common/fail_with.hpp"
#include "qm_root.hpp"
#include <qm/log.h>
#include <qm/threads.h>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <vector>

namespace {

using qm::failWith;

constexpr char kTasks[] = "/proc/self/task";
constexpr int kFirstAsyncCpu = 2;
constexpr std::size_t kFirstCapacity = 32;

int next_cpu = kFirstAsyncCpu;
pthread_mutex_t rr_lock = PTHREAD_MUTEX_INITIALIZER;

/// Takes its turn out of `cpus` configured CPUs.
int takeNextCpu(long cpus)
{
    ::pthread_mutex_lock(&rr_lock);
    const int picked = next_cpu;
    next_cpu = picked + 1 < cpus ? picked + 1 : kFirstAsyncCpu;
    ::pthread_mutex_unlock(&rr_lock);
    return picked;
}

/// Whether a set of CPUs has a place for this one.
bool fitsSet(int cpu)
{
    return cpu >= 0 && cpu < CPU_SETSIZE;
}

/// 0, or the error number.
int collectOtherThreads(std::vector<pid_t>& others)
try {
    const pid_t self = ::gettid();
    const qm::Directory tasks = qm::openDirectory(kTasks);
    if (tasks == nullptr) return errno;
    errno = 0;
    others.reserve(kFirstCapacity);
    while (const dirent* const entry = ::readdir(tasks.get())) {
        if (std::isdigit(static_cast<unsigned char>(entry->d_name[0])) == 0) continue;
        const auto thread = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10));
        if (thread >= 1 && thread != self) others.push_back(thread);
        errno = 0;
    }
    return errno;  // the end of the list sets none
} catch (const std::bad_alloc&) {
    return errno != 0 ? errno : ENOMEM;
}

/// Where a thread may run when one CPU is taken away from it.
struct Remaining
{
    int error;  ///< of reading it; 0 for a thread that has ended, too
    bool ended;
    bool changed;  ///< the thread could run on that CPU
    cpu_set_t cpus;
};

Remaining cpusWithout(pid_t thread, int cpu)
{
    Remaining remaining{};
    if (::sched_getaffinity(thread, sizeof remaining.cpus, &remaining.cpus) != 0) {
        remaining.ended = errno == ESRCH;
        remaining.error = remaining.ended ? 0 : errno;
        return remaining;
    }
    remaining.changed = fitsSet(cpu) && CPU_ISSET(cpu, &remaining.cpus);
    if (remaining.changed) CPU_CLR(cpu, &remaining.cpus);
    return remaining;
}

/// Changes nothing; 0, or the error number.
int checkCanMove(const std::vector<pid_t>& threads, int cpu)
{
    for (const pid_t thread : threads) {
        const Remaining remaining = cpusWithout(thread, cpu);
        if (remaining.error != 0) return remaining.error;
        if (!remaining.ended && CPU_COUNT(&remaining.cpus) == 0) return EBUSY;
    }
    return 0;
}

/// 0, or the error number; the threads before the failing one have been moved then.
int moveAway(const std::vector<pid_t>& threads, int cpu)
{
    for (const pid_t thread : threads) {
        const Remaining remaining = cpusWithout(thread, cpu);
        if (remaining.error != 0) return remaining.error;
        if (remaining.ended || !remaining.changed) continue;
        const int result = ::sched_setaffinity(thread, sizeof remaining.cpus, &remaining.cpus);
        if (result != 0 && errno != ESRCH) return errno;
    }
    return 0;
}

}  // namespace

int qm_pinThisThreadToCpu(int cpu)
{
    const qm::RootScope root;
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    if (fitsSet(cpu)) CPU_SET(cpu, &cpus);
    int error = ::pthread_setaffinity_np(::pthread_self(), sizeof cpus, &cpus);
    if (error != 0) return failWith(error);
    error = ::pthread_getaffinity_np(::pthread_self(), sizeof cpus, &cpus);
    if (error != 0) return failWith(error);
    return fitsSet(cpu) && CPU_ISSET(cpu, &cpus) ? 0 : failWith(EINVAL);
}

int qm_pickNextAsyncCpu(void)
{
    const long cpus = ::sysconf(_SC_NPROCESSORS_CONF);
    if (cpus <= kFirstAsyncCpu) return -1;
    const int picked = takeNextCpu(cpus);
    qm_printf(qm_debug, "Picked CPU %d for async IRQ\n", picked);
    return picked;
}

int qm_pinThreadExclusiveCpu(int cpu)
{
    const long cpus = ::sysconf(_SC_NPROCESSORS_ONLN);
    if (cpus == 1) return ENOSYS;
    if (cpu < 0 || cpu >= cpus) return EINVAL;
    std::vector<pid_t> others;
    int error = collectOtherThreads(others);
    if (error == 0) error = checkCanMove(others, cpu);
    if (error == 0) error = moveAway(others, cpu);
    if (error != 0) return error;
    (void)qm_pinThisThreadToCpu(cpu);  // Deliberate: 0, whatever comes of it.
    return 0;
}
