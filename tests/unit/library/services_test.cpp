#include <qm.h>
#include <slrealtime/ModelInfo.hpp>
#include <slrealtime/Standalone.hpp>
#include <slrealtime/Worker.hpp>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/prctl.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

thread_local bool counting = false;
thread_local int locks = 0;  // mutexes that libqm's own code has locked on this thread

}  // namespace

extern "C" int sanitizersLock(pthread_mutex_t*) __asm__("__interceptor_pthread_mutex_lock")
    __attribute__((weak));

// Comes before the C library's, for libqm too.
extern "C" __attribute__((visibility("default"))) int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    Dl_info caller{};
    if (counting && dladdr(__builtin_return_address(0), &caller) != 0 &&
        std::strstr(caller.dli_fname, "libqm.so"))
        ++locks;
    if (sanitizersLock != nullptr) return sanitizersLock(mutex);
    static auto* const original =
        reinterpret_cast<decltype(&sanitizersLock)>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    return original(mutex);
}

namespace {

using slrealtime::TaskInfo;
using slrealtime::Worker;
using slrealtime::standalone::createWorker;
using testing::ElementsAre;
using testing::IsSupersetOf;

const std::vector<std::string> servicesBeforeMain = slrealtime::standalone::workerNames();

TEST(Services, AreRegisteredWhenTheLibraryIsLoaded)
{
    EXPECT_THAT(servicesBeforeMain, IsSupersetOf({"QuillmarkSyncService", "QuillmarkService"}));
}

class BaseRate : public testing::Test
{
protected:
    static void firstStep(Worker& service)
    {
        const TaskInfo task;
        service.preStep(&task);
    }

    std::unique_ptr<Worker> service_ = createWorker("QuillmarkSyncService");
};

TEST_F(BaseRate, IsWaitedForTheStatedTime)
{
    prctl(PR_SET_TIMERSLACK, 1UL);  // no more than asked for, as real-time threads sleep
    for (int i = 0; i < 20; ++i) {
        const auto before = std::chrono::system_clock::now();
        EXPECT_EQ(-1, qm_waitForBaseRateSync());
        const auto waited = std::chrono::system_clock::now() - before;
        EXPECT_LE(std::chrono::microseconds(100), waited);
        EXPECT_GT(std::chrono::seconds(1), waited);
    }
}

TEST_F(BaseRate, IsNotStartedByAnythingBeforeOrAfterTheSteps)
{
    const TaskInfo task;
    service_->initialize();
    service_->start();
    service_->postStep(&task);
    service_->heartbeatWork(true);
    service_->terminate();
    EXPECT_EQ(-1, qm_waitForBaseRateSync());
}

/// Threads that wait for the base rate until the object's end.
class Waiting
{
public:
    Waiting()
    {
        for (int i = 0; i < 8; ++i)
            threads_.emplace_back(&Waiting::wait);
    }
    ~Waiting()
    {
        for (std::thread& thread : threads_)
            thread.join();
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

private:
    static void wait()
    {
        while (qm_waitForBaseRateSync() != 0) {
        }
    }

    std::vector<std::thread> threads_;
};

TEST_F(BaseRate, FirstStepReleasesEveryWaitingThread)
{
    const Waiting waiting;
    firstStep(*service_);
    EXPECT_EQ(0, qm_waitForBaseRateSync());
}

TEST_F(BaseRate, StopBeforeAnyStepReleasesEveryWaitingThread)
{
    const Waiting waiting;
    service_->stop();
    EXPECT_EQ(0, qm_waitForBaseRateSync());
}

TEST_F(BaseRate, ACancelledThreadLeavesItToTheOthers)
{
    std::atomic<bool> entered = false;
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(
                     &thread, nullptr,
                     [](void* argument) -> void* {
                         *static_cast<std::atomic<bool>*>(argument) = true;
                         while (qm_waitForBaseRateSync() != 0) {
                         }
                         return nullptr;
                     },
                     &entered));
    while (!entered) {
    }
    ASSERT_EQ(0, pthread_cancel(thread));
    void* result = nullptr;
    ASSERT_EQ(0, pthread_join(thread, &result));
    EXPECT_EQ(PTHREAD_CANCELED, result);
    firstStep(*service_);
    EXPECT_EQ(0, qm_waitForBaseRateSync());
}

TEST_F(BaseRate, StaysStartedAndOnlyTheFirstStepLocks)
{
    counting = true;
    firstStep(*service_);
    EXPECT_EQ(1, locks);
    for (int i = 0; i < 1000; ++i)
        firstStep(*service_);
    service_->stop();
    service_ = createWorker("QuillmarkSyncService");
    service_->initialize();
    EXPECT_EQ(0, qm_waitForBaseRateSync()) << "a second run finds it started";
    EXPECT_EQ(1, locks);
}

std::vector<int> earlyDuring;  // what qm_is_early_init() said during each early initialisation

void noteEarly()
{
    earlyDuring.push_back(qm_is_early_init());
}

class EarlyInit : public testing::Test
{
protected:
    std::unique_ptr<Worker> service_ = createWorker("QuillmarkService");
};

TEST_F(EarlyInit, LastsForEverWithoutAFunction)
{
    EXPECT_EQ(1, qm_is_early_init());
    service_->initialize();
    EXPECT_EQ(1, qm_is_early_init());
}

TEST_F(EarlyInit, EndsWhenTheFunctionHasReturnedInEachRun)
{
    qm_register_early_init_function([] { FAIL() << "was replaced"; });
    qm_register_early_init_function(&noteEarly);
    EXPECT_THAT(earlyDuring, ElementsAre()) << "registering does not run it";
    service_->initialize();
    EXPECT_EQ(0, qm_is_early_init());
    createWorker("QuillmarkService")->initialize();
    EXPECT_EQ(0, qm_is_early_init());
    EXPECT_THAT(earlyDuring, ElementsAre(1, 1));

    qm_register_early_init_function(nullptr);
    service_->initialize();
    EXPECT_EQ(0, qm_is_early_init()) << "nothing registered, nothing touched";
    EXPECT_THAT(earlyDuring, ElementsAre(1, 1));
}

TEST_F(EarlyInit, DoesNotEndWhenTheFunctionThrows)
{
    qm_register_early_init_function(&noteEarly);
    service_->initialize();
    qm_register_early_init_function([] { throw std::runtime_error("no board"); });
    EXPECT_THROW(service_->initialize(), std::runtime_error);
    EXPECT_EQ(1, qm_is_early_init());
}

TEST_F(EarlyInit, ParksTheLastPointer)
{
    EXPECT_EQ(nullptr, qm_early_init_get_blkInfo2());
    int first = 0;
    int second = 0;
    qm_early_init_set_blkInfo2(&first);
    qm_early_init_set_blkInfo2(&second);
    EXPECT_EQ(&second, qm_early_init_get_blkInfo2());
}

TEST(StartCallback, ReachesThePlatformWithItsArgumentAndNumber)
{
    std::vector<int> order;
    struct Block
    {
        std::vector<int>* order;
        int id;
    };
    Block late{&order, 1};
    Block early{&order, 2};
    const auto note = [](void* argument) {
        const auto* block = static_cast<Block*>(argument);
        block->order->push_back(block->id);
    };
    qm_add_start_callback(note, &late, 7);
    qm_add_start_callback(note, &early, -7);
    EXPECT_THAT(order, ElementsAre());
    slrealtime::standalone::runStartCallbacks();
    EXPECT_THAT(order, ElementsAre(2, 1));
}

}  // namespace
