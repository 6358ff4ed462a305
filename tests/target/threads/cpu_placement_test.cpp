#include "log_capture.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace sandbox = qm::test::sandbox;
using testing::IsEmpty;
using testing::Pair;

using Cpus = uint64_t;  // bit n is CPU n

cpu_set_t setOf(Cpus cpus)
{
    cpu_set_t set{};
    std::memcpy(&set, &cpus, sizeof cpus);
    return set;
}

Cpus cpusOf(const cpu_set_t& set)
{
    Cpus cpus = 0;
    std::memcpy(&cpus, &set, sizeof cpus);
    return cpus;
}

/// What the kernel says of a thread's CPUs.
struct Affinity
{
    Cpus cpus = 0b1111;
    int readError = 0;
    int readsBeforeIt = 0;
    int changeError = 0;
};

std::map<pid_t, Affinity> affinities;         // of the other threads
std::vector<std::pair<pid_t, Cpus>> changes;  // asked for, in order
Affinity own{0};
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
    const std::pair<const char*, std::vector<int>> turns[] = {{"0", {-1}},        {"0-1", {-1, -1}},
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
    std::array<int, 3> sums{};
    std::vector<std::thread> threads;
    for (int& sum : sums)
        threads.emplace_back([&sum] {
            for (int i = 0; i < kPicks; ++i)
                sum += qm_pickNextAsyncCpu();
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(kPicks * 3 / 2 * (2 + 3), sums[0] + sums[1] + sums[2]) << "CPU 2 as often as CPU 3";
}

TEST_F(CpuPlacement, ThisThreadIsPinnedToOneCpuAlone)
{
    EXPECT_EQ(0, qm_pinThisThreadToCpu(3));
    EXPECT_EQ(0b1000U, own.cpus);
    EXPECT_EQ(0, qm_pinThisThreadToCpu(63));
    EXPECT_EQ(Cpus{1} << 63, own.cpus);
}

TEST_F(CpuPlacement, AFailedPinIsMinusOneAndErrno)
{
    const auto errnoOfPin = [](int cpu) {
        errno = 0;
        EXPECT_EQ(-1, qm_pinThisThreadToCpu(cpu));
        return errno;
    };
    for (const int cpu : {-1, CPU_SETSIZE, 1'000'000})
        EXPECT_EQ(EINVAL, errnoOfPin(cpu)) << "an empty set";
    staysWhereItIs = true;
    own.cpus = 0b1;
    EXPECT_EQ(EINVAL, errnoOfPin(1));
    own.readError = EFAULT;
    EXPECT_EQ(EFAULT, errnoOfPin(0));
    own.changeError = EPERM;
    EXPECT_EQ(EPERM, errnoOfPin(0));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

/// Threads beside the calling one.
class ExclusiveCpu : public CpuPlacement
{
protected:
    static constexpr size_t kThreads = 40;

    ExclusiveCpu()
    {
        online("0-3");
        for (pid_t& id : ids_) {
            threads_.emplace_back([&] {
                id = gettid();
                started_.release();
                end_.acquire();
            });
            started_.acquire();
        }
        for (const pid_t id : ids_)
            affinities[id] = {};
    }
    ~ExclusiveCpu() override
    {
        end_.release(kThreads);
        for (std::thread& thread : threads_)
            thread.join();
    }

    Affinity& of(size_t thread) { return affinities[ids_.at(thread)]; }
    Affinity& last() { return of(kThreads - 1); }

    std::array<pid_t, kThreads> ids_{};  // in the order in which the kernel lists them

private:
    std::binary_semaphore started_{0};
    std::counting_semaphore<kThreads> end_{0};
    std::vector<std::thread> threads_;
};

TEST_F(ExclusiveCpu, IsLeftByEveryOtherThread)
{
    of(0).cpus = 0b1010;
    last().cpus = 0b0100;
    EXPECT_EQ(0, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(0b1000U, own.cpus);
    ASSERT_EQ(kThreads - 1, changes.size()) << "the thread that never could run there is not touched";
    EXPECT_THAT(changes[0], Pair(ids_[0], 0b0010U));
    EXPECT_THAT(changes[1], Pair(ids_[1], 0b0111U));
}

TEST_F(ExclusiveCpu, IsRefusedBeforeAnyChangeWhenAThreadCanRunNowhereElse)
{
    last().cpus = 0b1000;
    EXPECT_EQ(EBUSY, qm_pinThreadExclusiveCpu(3));
    EXPECT_THAT(changes, IsEmpty());
    EXPECT_EQ(0U, own.cpus);
}

TEST_F(ExclusiveCpu, IsNotHinderedByThreadsThatEnd)
{
    of(0).readError = ESRCH;  // before the check
    of(1) = {0b1000, ESRCH};
    last().readError = ESRCH;  // between check and change
    last().readsBeforeIt = 1;
    of(kThreads - 2).changeError = ESRCH;
    EXPECT_EQ(0, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(kThreads - 3, changes.size());
    EXPECT_EQ(0b1000U, own.cpus);
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
    last() = {};
    of(1) = {0b1001, 0, 0, EACCES};
    EXPECT_EQ(EACCES, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(2U, changes.size());
    EXPECT_EQ(0U, own.cpus);
}

TEST_F(ExclusiveCpu, IsZeroWhateverTheOwnPinReturns)
{
    own.changeError = EINVAL;
    EXPECT_EQ(0, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(kThreads, changes.size());
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
    EXPECT_EQ(0U, own.cpus);
}

}  // namespace

// Come before the C library's, for libqm too.
#define INTERPOSED extern "C" __attribute__((visibility("default")))

INTERPOSED int sched_getaffinity(pid_t thread, size_t /*size*/, cpu_set_t* set) noexcept
{
    // A thread that the test has not started is a sanitizer's.
    const auto found = affinities.find(thread);
    Affinity anywhere;
    Affinity& affinity = found == affinities.end() ? anywhere : found->second;
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

INTERPOSED int pthread_setaffinity_np(pthread_t /*self*/, size_t size, const cpu_set_t* set) noexcept
{
    if (own.changeError != 0) return own.changeError;
    if (CPU_COUNT(set) == 0 || size != sizeof *set) return EINVAL;
    if (!staysWhereItIs) own.cpus = cpusOf(*set);
    return 0;
}

INTERPOSED int pthread_getaffinity_np(pthread_t /*self*/, size_t /*size*/, cpu_set_t* set) noexcept
{
    *set = setOf(own.cpus);
    return own.readError;
}
