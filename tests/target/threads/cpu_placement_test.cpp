#include "test.hpp"

#include <boost/log/core.hpp>

namespace {

using namespace qm::test;

using Cpus = uint64_t;  // bit n is CPU n, as in the first word of a cpu_set_t

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

struct CpuPlacement : qm::test::TargetTest
{
    CpuPlacement() { sandbox::freshDirectory("/sys/devices/system/cpu"); }

    static void set(const std::string& kind, const std::string& cpus)
    {
        sandbox::writeFile("/sys/devices/system/cpu/" + kind, cpus + "\n");
    }
};

TEST_F(CpuPlacement, AsyncCpusAreHandedOutInTurn)
{
    std::vector<std::string> lines;
    for (const auto& [cpus, picked] : {std::pair<const char*, std::vector<int>>{"0-1", {-1, -1}},
                                       {"0-2", {2, 2, 2}},
                                       {"0-3", {2, 3, 2, 3}},
                                       {"0,2-3", {2, 2}},
                                       {"0-5", {2, 3, 4, 5, 2}}}) {
        SCOPED_TRACE(cpus);
        set("possible", cpus);
        for (const int cpu : picked) {
            EXPECT_EQ(cpu, qm_pickNextAsyncCpu());
            if (cpu >= 0) lines.push_back("debug QM: Picked CPU " + std::to_string(cpu) + " for async IRQ");
        }
    }
    EXPECT_EQ(lines, log_.lines());
}

TEST_F(CpuPlacement, TurnsAreNotLostBetweenThreads)
{
    set("possible", "0-3");
    boost::log::core::get()->set_logging_enabled(false);
    const auto pick = [](int& sum) {
        for (int i = 0; i < 300; ++i)
            sum += qm_pickNextAsyncCpu();
    };
    int sum = 0, otherSum = 0;
    std::thread other(pick, std::ref(otherSum));
    pick(sum);
    other.join();
    EXPECT_EQ(300 * (2 + 3), sum + otherSum) << "CPU 2 as often as CPU 3";
}

TEST_F(CpuPlacement, AFailedPinIsMinusOneAndErrno)
{
    const auto errnoOfPin = [](int cpu) {
        errno = 0;
        EXPECT_EQ(-1, qm_pinThisThreadToCpu(cpu));
        return errno;
    };
    for (const int cpu : {-1, CPU_SETSIZE})
        EXPECT_EQ(EINVAL, errnoOfPin(cpu)) << "an empty set";
    staysWhereItIs = true;
    EXPECT_EQ(EINVAL, errnoOfPin(1));
}

/// Threads beside the calling one.
struct ExclusiveCpu : CpuPlacement
{
    ExclusiveCpu()
    {
        set("online", "0-3");
        const fs::path tasks = "/proc/self/task";
        sandbox::freshDirectory(tasks);
        for (int id = 101; id <= 105; ++id)
            fs::create_directory(tasks / std::to_string(id));
        for (const auto& task : fs::directory_iterator(tasks))
            ids_.push_back(std::stoi(task.path().filename()));
        for (const pid_t id : ids_)
            affinities[id] = {};
    }
    ~ExclusiveCpu() override { umount("/proc/self/task"); }  // leak checks need it

    Affinity& of(size_t thread) { return affinities[ids_.at(thread)]; }

    std::vector<pid_t> ids_;  // in the order in which the kernel lists them
};

TEST_F(ExclusiveCpu, IsLeftByEveryOtherThreadAndZeroWhateverTheOwnPinReturns)
{
    of(0).cpus = 0b1010;
    of(4).cpus = 0b0100;
    EXPECT_EQ(0, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(0b1000U, own.cpus);
    own.changeError = EINVAL;
    EXPECT_EQ(0, qm_pinThreadExclusiveCpu(3));
    ASSERT_EQ(4U + 4U, changes.size()) << "the thread that never could run there is not touched";
    EXPECT_THAT(changes[0], Pair(ids_[0], 0b0010U));
    EXPECT_THAT(changes[1], Pair(ids_[1], 0b0111U));
}

TEST_F(ExclusiveCpu, IsNotHinderedByThreadsThatEnd)
{
    of(0).readError = ESRCH;  // before the check
    of(1) = {0b1000, ESRCH};
    of(3).changeError = ESRCH;
    of(4) = {0b1111, ESRCH, 1};  // between check and change
    EXPECT_EQ(0, qm_pinThreadExclusiveCpu(3));
    EXPECT_THAT(changes, ElementsAre(Pair(ids_[2], 0b0111U), Pair(ids_[3], 0b0111U)));
    EXPECT_EQ(0b1000U, own.cpus);
}

TEST_F(ExclusiveCpu, IsRefusedBeforeAnyChangeWhenTheCheckFailsAndStopsAtAFailedChange)
{
    of(4).cpus = 0b1000;
    EXPECT_EQ(EBUSY, qm_pinThreadExclusiveCpu(3));
    of(4).readError = EPERM;
    EXPECT_EQ(EPERM, qm_pinThreadExclusiveCpu(3));
    EXPECT_THAT(changes, IsEmpty());
    of(4) = {};
    of(1).changeError = EACCES;
    EXPECT_EQ(EACCES, qm_pinThreadExclusiveCpu(3));
    EXPECT_EQ(2U, changes.size());
    EXPECT_EQ(0U, own.cpus);
}

TEST_F(CpuPlacement, ExclusiveCpusNeedASecondOneAndARightNumber)
{
    for (const auto& [online, cpu, error] : {std::tuple{"0", 0, ENOSYS},
                                             {"0", -1, ENOSYS},
                                             {"0-2", -1, EINVAL},
                                             {"0-2", 3, EINVAL},
                                             {"0,3", 3, EINVAL}}) {  // not below their number
        set("online", online);
        EXPECT_EQ(error, qm_pinThreadExclusiveCpu(cpu)) << online << ": " << cpu;
    }
}

}  // namespace

INTERPOSED int sched_getaffinity(pid_t thread, size_t /*size*/, cpu_set_t* set) noexcept
{
    // A thread that the test has not made up is a sanitizer's.
    const auto found = affinities.find(thread);
    Affinity anywhere;
    Affinity& affinity = found == affinities.end() ? anywhere : found->second;
    *set = {};
    set->__bits[0] = affinity.cpus;
    if (affinity.readError == 0 || affinity.readsBeforeIt-- > 0) return 0;
    errno = affinity.readError;
    return -1;
}

INTERPOSED int sched_setaffinity(pid_t thread, size_t /*size*/, const cpu_set_t* set) noexcept
{
    changes.emplace_back(thread, set->__bits[0]);
    errno = affinities[thread].changeError;
    return errno == 0 ? 0 : -1;
}

INTERPOSED int pthread_setaffinity_np(pthread_t /*self*/, size_t size, const cpu_set_t* set) noexcept
{
    if (own.changeError != 0) return own.changeError;
    if (CPU_COUNT(set) == 0 || size != sizeof *set) return EINVAL;
    if (!staysWhereItIs) own.cpus = set->__bits[0];
    return 0;
}

INTERPOSED int pthread_getaffinity_np(pthread_t /*self*/, size_t /*size*/, cpu_set_t* set) noexcept
{
    *set = {};
    set->__bits[0] = own.cpus;
    return 0;
}
