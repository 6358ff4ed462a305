#include "log_capture.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace sandbox = qm::test::sandbox;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Cpus = std::vector<int>;

cpu_set_t setOf(const Cpus& cpus)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    for (const int cpu : cpus)
        CPU_SET(cpu, &set);
    return set;
}

Cpus cpusOf(const cpu_set_t& set)
{
    Cpus cpus;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
        if (CPU_ISSET(cpu, &set)) cpus.push_back(cpu);
    return cpus;
}

/// What the kernel says of a thread's CPUs.
struct Affinity
{
    Cpus cpus;
    int readError = 0;
    int readsBeforeIt = 0;
    int changeError = 0;
};

const Affinity kAnywhere = {{0, 1, 2, 3}};
std::map<pid_t, Affinity> affinities;
std::vector<std::pair<pid_t, Cpus>> changes;  // of other threads
int ownChangeError = 0;
int ownReadError = 0;
Cpus ownCpus;
bool staysWhereItIs = false;

class CpuPlacement : public testing::Test
{
protected:
    CpuPlacement() { sandbox::freshDirectory("/sys/devices/system/cpu"); }

    static void configured(const std::string& cpus)
    {
        sandbox::writeFile("/sys/devices/system/cpu/possible", cpus + "\n");
    }
    static void online(const std::string& cpus)
    {
        sandbox::writeFile("/sys/devices/system/cpu/online", cpus + "\n");
    }

    qm::test::LogCapture log_;
};

TEST_F(CpuPlacement, AsyncCpusAreHandedOutInTurn)
{
    const std::pair<const char*, Cpus> turns[] = {{"0", {-1}},        {"0-1", {-1, -1}},
                                                  {"0-2", {2, 2, 2}}, {"0-3", {2, 3, 2, 3}},
                                                  {"0,2-3", {2, 2}},  {"0-5", {2, 3, 4, 5, 2}}};
    std::vector<std::string> lines;
    for (const auto& [cpus, picked] : turns) {
        SCOPED_TRACE(cpus);
        configured(cpus);
        for (const int cpu : picked) {
            EXPECT_EQ(cpu, qm_pickNextAsyncCpu());
            if (cpu >= 0) lines.push_back("debug QM: Picked CPU " + std::to_string(cpu) + " for async IRQ");
        }
    }
    EXPECT_EQ(lines, log_.lines());
}

TEST_F(CpuPlacement, TurnsAreNotLostBetweenThreads)
{
    configured("0-3");
    constexpr int kPicks = 200;
    std::array<std::array<int, 4>, 3> taken{};
    std::vector<std::thread> threads;
    for (auto& mine : taken)
        threads.emplace_back([&mine] {
            for (int i = 0; i < kPicks; ++i)
                ++mine.at(static_cast<size_t>(qm_pickNextAsyncCpu()));
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(taken[0][2] + taken[1][2] + taken[2][2], taken[0][3] + taken[1][3] + taken[2][3]);
}

TEST_F(CpuPlacement, ThisThreadIsPinnedToOneCpuAlone)
{
    EXPECT_EQ(0, qm_pinThisThreadToCpu(3));
    EXPECT_EQ(Cpus{3}, ownCpus);
    EXPECT_EQ(0, qm_pinThisThreadToCpu(1023));
    EXPECT_EQ(Cpus{1023}, ownCpus);
}

TEST_F(CpuPlacement, AFailedPinIsMinusOneAndErrno)
{
    for (const int cpu : {-1, 1024, 1'000'000}) {
        errno = 0;
        EXPECT_EQ(-1, qm_pinThisThreadToCpu(cpu));
        EXPECT_EQ(EINVAL, errno) << "an empty set";
    }
    staysWhereItIs = true;
    ownCpus = {0};
    EXPECT_EQ(-1, qm_pinThisThreadToCpu(1));
    EXPECT_EQ(EINVAL, errno);
    ownReadError = EFAULT;
    EXPECT_EQ(-1, qm_pinThisThreadToCpu(0));
    EXPECT_EQ(EFAULT, errno);
    ownChangeError = EPERM;
    EXPECT_EQ(-1, qm_pinThisThreadToCpu(0));
    EXPECT_EQ(EPERM, errno);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

/// Threads beside the calling one, in the order of their identifiers.
class ExclusiveCpu : public CpuPlacement
{
protected:
    static constexpr size_t kThreads = 40;

    ExclusiveCpu()
    {
        online("0-3");
        std::array<pid_t, kThreads> ids{};
        for (pid_t& id : ids) {
            threads_.emplace_back([&] {
                id = gettid();
                started_.release();
                end_.acquire();
            });
            started_.acquire();
        }
        for (const pid_t id : ids)
            affinities[id] = kAnywhere;
    }
    ~ExclusiveCpu() override
    {
        end_.release(kThreads);
        for (std::thread& thread : threads_)
            thread.join();
    }

    static Affinity& first() { return affinities.begin()->second; }
    static Affinity& last() { return affinities.rbegin()->second; }

private:
    std::binary_semaphore started_{0};
    std::counting_semaphore<kThreads> end_{0};
    std::vector<std::thread> threads_;
};

TEST_F(ExclusiveCpu, IsLeftByEveryOtherThread)
{
    first().cpus = {1, 3};
    last().cpus = {2};
    EXPECT_EQ(0, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(Cpus{3}, ownCpus);
    ASSERT_EQ(kThreads - 1, changes.size()) << "the thread that never could run there is not touched";
    EXPECT_THAT(changes[0], Pair(affinities.begin()->first, ElementsAre(1)));
    EXPECT_THAT(changes[1], Pair(std::next(affinities.begin())->first, ElementsAre(0, 1, 2)));
}

TEST_F(ExclusiveCpu, IsRefusedBeforeAnyChangeWhenAThreadCanRunNowhereElse)
{
    last().cpus = {3};
    EXPECT_EQ(EBUSY, qm_pinThreadExclusiveCpu(3));
    EXPECT_THAT(changes, IsEmpty());
    EXPECT_THAT(ownCpus, IsEmpty());
}

TEST_F(ExclusiveCpu, IsNotHinderedByThreadsThatEnd)
{
    first().readError = ESRCH;  // before the check
    std::next(affinities.begin())->second = {{3}, ESRCH};
    last().readError = ESRCH;  // between check and change
    last().readsBeforeIt = 1;
    std::prev(affinities.end(), 2)->second.changeError = ESRCH;
    EXPECT_EQ(0, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(kThreads - 3, changes.size());
    EXPECT_EQ(Cpus{3}, ownCpus);
}

TEST_F(ExclusiveCpu, StopsAtAnyOtherErrorWhereItIs)
{
    last().readError = EPERM;
    EXPECT_EQ(EPERM, qm_pinThreadExclusiveCpu(3));
    EXPECT_THAT(changes, IsEmpty()) << "found by the check";

    last().readsBeforeIt = 1;
    EXPECT_EQ(EPERM, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(kThreads - 1, changes.size());

    changes.clear();
    last() = kAnywhere;
    std::next(affinities.begin())->second = {{0, 3}, 0, 0, EACCES};
    EXPECT_EQ(EACCES, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(2U, changes.size());
    EXPECT_THAT(ownCpus, IsEmpty());
}

TEST_F(ExclusiveCpu, IsZeroWhateverTheOwnPinReturns)
{
    ownChangeError = EINVAL;
    EXPECT_EQ(0, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(kThreads, changes.size());
}

TEST_F(CpuPlacement, ALoneThreadIsOnlyPinned)
{
    online("0-1");
    EXPECT_EQ(0, qm_pinThreadExclusiveCpu(1));
    EXPECT_EQ(Cpus{1}, ownCpus);
}

TEST_F(CpuPlacement, ExclusiveCpusNeedASecondOneAndARightNumber)
{
    online("0");
    EXPECT_EQ(ENOSYS, qm_pinThreadExclusiveCpu(0));
    EXPECT_EQ(ENOSYS, qm_pinThreadExclusiveCpu(-1));
    online("0-2");
    EXPECT_EQ(EINVAL, qm_pinThreadExclusiveCpu(-1));
    EXPECT_EQ(EINVAL, qm_pinThreadExclusiveCpu(3));
    online("0,3");
    EXPECT_EQ(EINVAL, qm_pinThreadExclusiveCpu(3)) << "online, but not below their number";
    EXPECT_THAT(ownCpus, IsEmpty());
}

}  // namespace

// Come before the C library's, for libqm too.
#define INTERPOSED extern "C" __attribute__((visibility("default")))

INTERPOSED int sched_getaffinity(pid_t thread, size_t /*size*/, cpu_set_t* set) noexcept
{
    const auto found = affinities.find(thread);
    if (found == affinities.end()) return *set = setOf(kAnywhere.cpus), 0;  // a sanitizer's own thread
    Affinity& affinity = found->second;
    *set = setOf(affinity.cpus);
    if (affinity.readError == 0 || affinity.readsBeforeIt-- > 0) return 0;
    errno = affinity.readError;
    return -1;
}

INTERPOSED int sched_setaffinity(pid_t thread, size_t /*size*/, const cpu_set_t* set) noexcept
{
    const auto found = affinities.find(thread);
    if (found == affinities.end()) return 0;
    changes.emplace_back(thread, cpusOf(*set));
    errno = found->second.changeError;
    return errno == 0 ? 0 : -1;
}

INTERPOSED int pthread_setaffinity_np(pthread_t /*self*/, size_t /*size*/, const cpu_set_t* set) noexcept
{
    if (ownChangeError != 0) return ownChangeError;
    if (CPU_COUNT(set) == 0) return EINVAL;
    if (!staysWhereItIs) ownCpus = cpusOf(*set);
    return 0;
}

INTERPOSED int pthread_getaffinity_np(pthread_t /*self*/, size_t /*size*/, cpu_set_t* set) noexcept
{
    *set = setOf(ownCpus);
    return ownReadError;
}
