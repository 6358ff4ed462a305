#include <qm.h>

#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <semaphore.h>
#include <system_error>

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <thread>

namespace {

/// A semaphore whose storage the library leaves behind.
class Semaphore
{
public:
    explicit Semaphore(int count) : handle_(qm_createSemaphore(count)) {}
    ~Semaphore()
    {
        EXPECT_EQ(0, qm_destroySemaphore(handle_));
        delete static_cast<sem_t*>(handle_);
    }
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    operator void*() const { return handle_; }

private:
    void* handle_;
};

TEST(Semaphores, GiveAsOftenAsTheirCount)
{
    const Semaphore semaphore(2);
    EXPECT_EQ(0, qm_waitForSemaphore(semaphore));
    EXPECT_EQ(0, qm_waitForSemaphore(semaphore));
    EXPECT_EQ(0, qm_releaseSemaphore(semaphore));
    EXPECT_EQ(0, qm_waitForSemaphore(semaphore));
    int left = -1;
    EXPECT_EQ(0, sem_getvalue(static_cast<sem_t*>(static_cast<void*>(semaphore)), &left));
    EXPECT_EQ(0, left);
}

TEST(Semaphores, FailWithOneAndErrno)
{
    errno = 0;
    EXPECT_EQ(nullptr, qm_createSemaphore(-1));
    EXPECT_EQ(EINVAL, errno);
    const Semaphore full(INT_MAX);
    EXPECT_EQ(1, qm_releaseSemaphore(full));
    EXPECT_EQ(EOVERFLOW, errno);
}

TEST(Semaphores, AWaitEndsWithOneAtASignal)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(0, sigaction(SIGUSR1, &action, nullptr));
    sigevent event{};
    event.sigev_signo = SIGUSR1;
    timer_t timer{};
    ASSERT_EQ(0, timer_create(CLOCK_MONOTONIC, &event, &timer));
    constexpr timespec period = {0, 1'000'000};  // again and again: the first may come before the wait
    constexpr itimerspec setting = {period, period};
    ASSERT_EQ(0, timer_settime(timer, 0, &setting, nullptr));
    const Semaphore semaphore(0);
    EXPECT_EQ(1, qm_waitForSemaphore(semaphore));
    EXPECT_EQ(EINTR, errno);
    ASSERT_EQ(0, timer_delete(timer));
}

TEST(Mutexes, AreCreatedUnlocked)
{
    for (const bool initialOwner : {false, true}) {
        void* const mutex = qm_createMutex(initialOwner);
        EXPECT_TRUE(qm_tryLockMutex(mutex));
        std::thread([&] { EXPECT_FALSE(qm_tryLockMutex(mutex)); }).join();
        qm_unlockMutex(mutex);
        qm_destroyMutex(mutex);
    }
    qm_destroyMutex(nullptr);
}

TEST(Mutexes, LetOneThreadInAtATime)
{
    constexpr int kTimes = 10'000;
    void* const mutex = qm_createMutex(false);
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < kTimes; ++i) {
            qm_lockMutex(mutex);
            ++count;
            qm_unlockMutex(mutex);
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(2 * kTimes, count);
    qm_destroyMutex(mutex);
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

}  // namespace
