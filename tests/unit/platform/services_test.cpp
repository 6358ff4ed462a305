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

template <std::size_t n>
void registerLetters(char (&letters)[n], const int (&orders)[n])
{
    for (std::size_t i = 0; i < n; ++i)
        registerCB_C(append, &letters[i], orders[i]);
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

TEST(StartCallbacks, RunLowestFirstEqualOnesInOrderOfRegistrationAndOnlyOnce)
{
    order.clear();
    char letters[] = {'c', 'a', 'd', 'b', 'x'};
    registerLetters(letters, {5, -1, 5, 0, 9});
    registerCB_C(nullptr, nullptr, 0);
    runStartCallbacks();
    runStartCallbacks();
    EXPECT_EQ("abcdx", order);
}

TEST(StartCallbacks, OneRegisteredByACallbackRunsInTheSameStart)
{
    order.clear();
    char letter = 'r';
    char last = 'z';
    registerCB_C(registerAnother, &letter, 0);
    registerCB_C(append, &last, 7);
    runStartCallbacks();
    EXPECT_EQ("rzr", order);
}

TEST(ModelInstance, IsWhatWasSetLast)
{
    slrealtime::ModelInfo model;
    model.modelName_ = "pump";
    model.tasks_.resize(2);
    model.tasks_[1].trigmode_ = slrealtime::TriggerMode::POLLING;
    slrealtime::standalone::setModelInfo(model);
    EXPECT_EQ("pump", slrealtime::getModelInstanceModelInfo().modelName_);
    EXPECT_EQ(slrealtime::POLLING, slrealtime::getModelInstanceModelInfo().tasks_.at(1).trigmode_);
}
