#include "test.hpp"

#include <pthread.h>
#include <semaphore.h>

#include <climits>

extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __asan_unpoison_memory_region(const volatile void* start, size_t size) __attribute__((weak));

namespace {

using namespace qm::test;

/// Whether this process may have real-time threads; without that right a refusal is what is expected.
bool mayBeRealTime()
{
    constexpr sched_param lowest = {.sched_priority = 1};
    constexpr sched_param none = {};
    return sched_setscheduler(0, SCHED_FIFO, &lowest) == 0 && sched_setscheduler(0, SCHED_OTHER, &none) == 0;
}

void* noteScheduling(void* argument)
{
    *static_cast<std::atomic<int>*>(argument) = sched_getscheduler(0) * 100 + qm_getPidPriority(0);
    return nullptr;
}

struct Threads : testing::Test
{
    /// A thread with a handle; not real-time where that is not allowed.
    static void* start(void* (*func)(void*), void* argument)
    {
        if (void* const handle = qm_createThread(func, argument)) return handle;
        auto* const handle = new pthread_t;
        EXPECT_EQ(0, pthread_create(handle, nullptr, func, argument));
        return handle;
    }

    static void dropRights()
    {
        constexpr rlimit none = {};
        ASSERT_EQ(0, setrlimit(RLIMIT_RTPRIO, &none));
        if (geteuid() == 0) {
            ASSERT_EQ(0, setresuid(65534, 65534, 65534));
        }
        ASSERT_FALSE(mayBeRealTime());
    }

    qm::test::LogCapture log_;
};

TEST_F(Threads, StartAtTheLowestRealTimePriorityAndAreRefusedWithoutTheRight)
{
    std::atomic<int> scheduling = 0;
    if (mayBeRealTime()) {
        void* const thread = qm_createThread(&noteScheduling, &scheduling);
        ASSERT_NE(nullptr, thread);
        while (scheduling == 0) {
        }
        EXPECT_EQ(SCHED_FIFO * 100 + 1, scheduling);
        EXPECT_EQ(0, qm_destroyThread(thread)) << "also of one that has ended";
        EXPECT_THAT(log_.lines(), ElementsAre("debug QM: created thread with prio 1"));
    }
    dropRights();
    log_.clear();
    if (__lsan_disable != nullptr) __lsan_disable();  // leaves its handle's storage behind, on purpose
    EXPECT_EQ(nullptr, qm_createThread(&noteScheduling, &scheduling));
    EXPECT_THAT(log_.lines(), ElementsAre("error QM: pthread_create returns 1: Operation not permitted"));
}

using Block = void (*)(void* semaphore);

struct BlockedThread
{
    Block block;
    void* semaphore = qm_createSemaphore(0);
    std::atomic<bool> hasBegun = false;
    std::atomic<bool> isUnwound = false;
};

[[gnu::no_sanitize_address]] void* blockForEver(void* argument)
{
    auto* const self = static_cast<BlockedThread*>(argument);
    struct Unwinding
    {
        ~Unwinding()
        {
            // The address sanitizer takes what a cancelled call leaves on the stack for live variables.
            constexpr size_t kLeft = 16384;
            if (__asan_unpoison_memory_region != nullptr)
                __asan_unpoison_memory_region(static_cast<char*>(__builtin_frame_address(0)) - kLeft, kLeft);
            *isUnwound = true;
        }
        std::atomic<bool>* isUnwound;
    } const unwinding{&self->isUnwound};
    self->hasBegun = true;
    for (;;)
        self->block(self->semaphore);
}

class Blocked : public Threads, public testing::WithParamInterface<std::pair<const char*, Block>>
{};

TEST_P(Blocked, ThreadIsDestroyedAndTheProcessLives)
{
    BlockedThread blocked{GetParam().second};
    void* const thread = start(&blockForEver, &blocked);
    while (!blocked.hasBegun) {
    }
    (void)usleep(2000);  // let it block; right also when it has not yet
    EXPECT_EQ(0, qm_destroyThread(thread));
    EXPECT_TRUE(blocked.isUnwound);
    qm_signalBaseRateSync();  // needs the lock that a cancelled wait had
    EXPECT_EQ(0, qm_waitForBaseRateSync());
    delete static_cast<sem_t*>(blocked.semaphore);
}

INSTANTIATE_TEST_SUITE_P(
    In, Blocked,
    testing::Values(std::pair("ASemaphore", [](void* semaphore) { (void)qm_waitForSemaphore(semaphore); }),
                    std::pair("ASleep", [](void*) { qm_wait_s(5000.0); }),
                    std::pair("TheBaseRate", [](void*) { (void)qm_waitForBaseRateSync(); })),
    [](const auto& row) { return std::string(row.param.first); });

TEST(Semaphores, FailWithOneAndErrno)
{
    errno = 0;
    EXPECT_EQ(nullptr, qm_createSemaphore(-1));
    EXPECT_EQ(EINVAL, errno);
    sem_t semaphore;
    ASSERT_EQ(0, sem_init(&semaphore, 0, INT_MAX));
    EXPECT_EQ(1, qm_releaseSemaphore(&semaphore));
    EXPECT_EQ(EOVERFLOW, errno);
}

TEST(Mutexes, ThatCannotBeLockedThrowTheErrorNumber)
{
    pthread_mutex_t checking = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
    qm_lockMutex(&checking);
    try {
        qm_lockMutex(&checking);
        ADD_FAILURE() << "locked twice";
    } catch (const std::system_error& error) {
        EXPECT_EQ(EDEADLK, error.code().value());
    }
    qm_unlockMutex(&checking);
}

TEST_F(Threads, PriorityIsSetInAndReadFromTheKernel)
{
    const bool isAllowed = mayBeRealTime();
    for (const auto& [policy, priority, expected] :
         {std::tuple{SCHED_FIFO, 7, 7}, {SCHED_RR | SCHED_RESET_ON_FORK, 8, 8}, {SCHED_BATCH, 0, 0}}) {
        const sched_param parameters = {.sched_priority = priority};
        EXPECT_EQ(isAllowed || expected == 0, sched_setscheduler(0, policy, &parameters) == 0);
        EXPECT_EQ(isAllowed ? expected : 0, qm_getPidPriority(0));
    }
    EXPECT_EQ(isAllowed ? 0 : -1, qm_setPidPriority(gettid(), 42));
    EXPECT_EQ(isAllowed ? 42 : 0, qm_getPidPriority(gettid()));
    EXPECT_EQ(-1, qm_getPidPriority(0x3FFFFFFF));
    EXPECT_EQ(ESRCH, errno);
}

TEST_F(Threads, PriorityOutOfRangeIsRefusedWithTheTextOfMinusOne)
{
    EXPECT_EQ(-1, qm_setPidPriority(0, 100));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_THAT(
        log_.lines(),
        ElementsAre("error QM: Elevating thread 0 to 100, sched_setscheduler returns -1: Unknown error -1"));
}

}  // namespace

#ifdef __SANITIZE_THREAD__
// The thread sanitizer's own does not expect to be cancelled.
INTERPOSED int sem_wait(sem_t* semaphore)
{
    constexpr timespec kNever = {1'000'000'000, 0};
    return sem_clockwait(semaphore, CLOCK_MONOTONIC, &kNever);
}
#endif
