#include <slrealtime/Standalone.hpp>
#include <slrealtime/StartCallback.h>

#include <gmock/gmock.h>

using slrealtime::Worker;
using slrealtime::standalone::createWorker;
using slrealtime::standalone::runStartCallbacks;
using slrealtime::standalone::workerNames;
using testing::ElementsAre;

namespace {

struct First : Worker
{};
struct Second : Worker
{};

std::string order;

void append(void* letter)
{
    order += *static_cast<const char*>(letter);
}

void registerAnother(void* letter)
{
    append(letter);
    registerCB_C(append, letter, -100);
}

}  // namespace

TEST(WorkerRegistry, NamesKeepTheOrderOfRegistrationAndTheLatestFactoryCounts)
{
    Worker::doRegister("b", [] { return std::make_unique<First>(); });
    Worker::doRegister("a", [] { return std::make_unique<First>(); });
    Worker::doRegister("b", [] { return std::make_unique<Second>(); });
    EXPECT_THAT(workerNames(), ElementsAre("b", "a"));
    EXPECT_NE(nullptr, dynamic_cast<Second*>(createWorker("b").get()));
    EXPECT_EQ(nullptr, createWorker("unknown"));
}

TEST(StartCallbacks, RunOnceLowestFirstEqualOnesInOrderOfRegistrationAlsoThoseThatCallbacksRegister)
{
    char letters[] = {'c', 'a', 'd', 'b', 'r', 'z'};
    for (const auto& [letter, priority] : {std::pair{0, 5}, {1, -1}, {2, 5}, {3, 0}, {5, 9}})
        registerCB_C(append, &letters[letter], priority);
    registerCB_C(registerAnother, &letters[4], 7);
    registerCB_C(nullptr, nullptr, 0);
    runStartCallbacks();
    runStartCallbacks();
    EXPECT_EQ("abcdrzr", order);
}
