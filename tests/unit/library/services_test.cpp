#include "test.hpp"
#include <slrealtime/ModelInfo.hpp>
#include <slrealtime/Standalone.hpp>
#include <slrealtime/Worker.hpp>

#include <pthread.h>
#include <sys/prctl.h>

namespace {

using namespace qm::test;

thread_local int locks = 0;  // mutexes that this thread has locked

}  // namespace

extern "C" int sanitizersLock(pthread_mutex_t*) __asm__("__interceptor_pthread_mutex_lock")
    __attribute__((weak));

INTERPOSED int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
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

struct BaseRate : testing::Test
{
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
    const auto before = std::chrono::system_clock::now();
    EXPECT_EQ(-1, qm_waitForBaseRateSync());
    const auto waited = std::chrono::system_clock::now() - before;
    EXPECT_LE(std::chrono::microseconds(100), waited);
    EXPECT_GT(std::chrono::seconds(1), waited);
}

class BaseRateBegins : public BaseRate, public testing::WithParamInterface<bool>
{};

TEST_P(BaseRateBegins, ForEveryWaitingThreadAtTheFirstStepOrAStopBeforeIt)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([] {
            while (qm_waitForBaseRateSync() != 0) {
            }
        });
    GetParam() ? service_->stop() : firstStep(*service_);
    EXPECT_EQ(0, qm_waitForBaseRateSync());
    for (std::thread& thread : threads)
        thread.join();
}

INSTANTIATE_TEST_SUITE_P(Stop, BaseRateBegins, testing::Bool());

TEST_F(BaseRate, StaysStartedAndOnlyTheFirstStepLocks)
{
    const int before = locks;
    for (int i = 0; i < 1000; ++i)
        firstStep(*service_);
    EXPECT_EQ(before + 1, locks);
    service_->stop();
    service_ = createWorker("QuillmarkSyncService");
    service_->initialize();
    EXPECT_EQ(0, qm_waitForBaseRateSync()) << "a second run finds it started";
}

std::vector<int> earlyDuring;  // what qm_is_early_init() said during each early initialisation

void noteEarly()
{
    earlyDuring.push_back(qm_is_early_init());
}

TEST(EarlyInit, EndsWhenTheFunctionHasReturnedInEachRunButNotWhenItThrows)
{
    const auto service = createWorker("QuillmarkService");
    service->initialize();
    EXPECT_EQ(1, qm_is_early_init()) << "no function, no end";
    qm_early_init_set_blkInfo2(&earlyDuring);
    EXPECT_EQ(&earlyDuring, qm_early_init_get_blkInfo2());
    qm_register_early_init_function([] { FAIL() << "was replaced"; });
    qm_register_early_init_function(&noteEarly);
    for (int run = 0; run < 2; ++run) {
        service->initialize();
        EXPECT_EQ(0, qm_is_early_init());
    }
    EXPECT_THAT(earlyDuring, ElementsAre(1, 1));
    qm_register_early_init_function(nullptr);
    service->initialize();
    EXPECT_EQ(0, qm_is_early_init()) << "nothing registered, nothing touched";

    qm_register_early_init_function([] { throw std::runtime_error("no board"); });
    EXPECT_THROW(service->initialize(), std::runtime_error);
    EXPECT_EQ(1, qm_is_early_init());
}

std::string order;

TEST(StartCallback, RunsOnceInOrderOfItsNumber)
{
    const auto note = [](void* argument) { order += *static_cast<const char*>(argument); };
    char letters[] = {'b', 'a', 'c'};
    qm_add_start_callback(note, &letters[0], 7);
    qm_add_start_callback(note, &letters[1], -7);
    qm_add_start_callback(note, &letters[2], 7);
    EXPECT_EQ("", order);
    slrealtime::standalone::runStartCallbacks();
    slrealtime::standalone::runStartCallbacks();
    EXPECT_EQ("abc", order) << "lowest first, equal ones in order, each once";
}

}  // namespace
