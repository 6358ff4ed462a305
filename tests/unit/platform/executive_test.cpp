#include "test.hpp"
#include <slrealtime/Logger.hpp>
#include <slrealtime/Standalone.hpp>
#include <slrealtime/StartCallback.h>

#include <nlohmann/json.hpp>

#include <cmath>

using namespace slrealtime;  // NOLINT(google-build-using-namespace)
using standalone::runModel;
using standalone::RunOptions;

namespace {

using namespace qm::test;

/** What happened, in order: one thread at a time acts. */
class Story
{
public:
    void add(const std::string& event)
    {
        events_.push_back(event);
        if (event == throwAt_) throw std::runtime_error("broken " + event);
    }
    void failAt(const std::string& event) { throwAt_ = event; }
    std::vector<std::string> take() { return std::exchange(events_, {}); }

private:
    std::vector<std::string> events_;
    std::string throwAt_;
};

Story* story = nullptr;

struct Recorder : Worker
{
    Recorder() { story->add("create"); }
    ~Recorder() override { story->add("destroy"); }  // NOLINT(bugprone-exception-escape): never told to fail
    void initialize() override { story->add("initialize"); }
    void start() override { story->add("start"); }
    void preStep(const TaskInfo* task) override { story->add("pre" + std::to_string(task->runCount_)); }
    void postStep(const TaskInfo* task) override { story->add("post" + std::to_string(task->runCount_)); }
    void stop() override { story->add("stop"); }
    void terminate() override { story->add("terminate"); }
};

auto entries(const fs::path& folder)
{
    return std::distance(fs::directory_iterator(folder), {});
}

void busyFor(std::chrono::milliseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
    }
}

struct Executive : testing::Test
{
    Executive()
    {
        story = &story_;
        options_.logLevel_ = standalone::LogLevel::error;
        TaskInfo task;
        task.period_ = 0.001;
        task.init_ = [this] { story_.add("task init"); };
        task.start_ = [this] { story_.add("task start"); };
        task.entry_ = [this] { story_.add("step"); };
        model_.initialize_ = [this] { story_.add("model init"); };
        model_.terminate_ = [this] { story_.add("model terminate"); };
        model_.tasks_.push_back(task);
    }
    ~Executive() override
    {
        Worker::doRegister("Recorder", [] { return std::make_unique<Worker>(); });
    }

    TaskInfo& base() { return model_.tasks_[0]; }
    void record()
    {
        Worker::doRegister("Recorder", [] { return std::make_unique<Recorder>(); });
    }
    standalone::RunResult run() { return runModel(model_, options_); }
    standalone::RunResult runSteps(std::uint64_t steps)
    {
        options_.steps_ = steps;
        return run();
    }

    Story story_;
    ModelInfo model_;
    RunOptions options_;
};

}  // namespace

TEST_F(Executive, CallsEverythingOnceAndInOrderInEachOfTwoRuns)
{
    record();
    for (int i = 0; i < 2; ++i) {
        registerCB_C([](void* to) { static_cast<Story*>(to)->add("callback"); }, &story_, 0);
        EXPECT_EQ(0, runSteps(1).exitStatus_);
        EXPECT_THAT(story_.take(), ElementsAre("create", "initialize", "model init", "task init", "callback",
                                               "start", "task start", "pre0", "step", "post1", "stop",
                                               "model terminate", "terminate", "destroy"));
    }
}

TEST_F(Executive, AFailedPhaseSkipsTheRestAndUndoesWhatHadBegun)
{
    record();
    story_.failAt("model init");
    registerCB_C([](void* to) { static_cast<Story*>(to)->add("stale callback"); }, &story_, 0);
    const auto result = runSteps(1);
    EXPECT_EQ("initialisation of the model: broken model init", result.failure_);
    EXPECT_THAT(story_.take(), ElementsAre("create", "initialize", "model init", "stop", "model terminate",
                                           "terminate", "destroy"));
    standalone::runStartCallbacks();
    EXPECT_THAT(story_.take(), ElementsAre()) << "callbacks of a failed run must not reach the next one";
}

TEST_F(Executive, AnExceptionInAStepOrInTheShutDownIsTheModelsErrorAndTheShutDownGoesOn)
{
    record();
    for (const std::string event : {"step", "post1", "stop", "terminate"}) {
        story_.failAt(event);
        EXPECT_THAT(runSteps(1).failure_, HasSubstr("broken " + event));
        const auto events = story_.take();
        EXPECT_THAT(std::vector(events.end() - 4, events.end()),
                    ElementsAre("stop", "model terminate", "terminate", "destroy"));
    }
}

TEST_F(Executive, StopRequestAndErrorStatusEndTheRunAfterTheStep)
{
    model_.stopRequested_ = [] { return getModelInstanceModelInfo().tasks_[0].runCount_ == 3; };
    EXPECT_EQ(3U, run().tasks_.at(0).steps_);

    const char* status = nullptr;
    model_.stopRequested_ = {};
    model_.errorStatusPtr_ = &status;
    base().entry_ = [&] { status = "board caught fire"; };
    const auto result = run();
    EXPECT_EQ(1, result.exitStatus_);
    EXPECT_EQ(1U, result.tasks_.at(0).steps_);
    EXPECT_THAT(result.report_, HasSubstr("\nFAIL: board caught fire\n"));
}

TEST_F(Executive, AnOverlongStepSkipsDeadlinesAndModelTimeStaysOnTheGrid)
{
    std::vector<double> times;
    base().period_ = 0.02;
    base().offset_ = 0.005;
    base().entry_ = [&] {
        times.push_back(getModelInstanceModelInfo().tasks_[0].time_);
        if (times.size() == 1) busyFor(std::chrono::milliseconds(50));
    };
    const auto task = runSteps(2).tasks_.at(0);
    EXPECT_GE(task.overloads_, 1U);
    EXPECT_GE(task.missed_, 2U);
    EXPECT_DOUBLE_EQ(0.005, times.at(0));
    EXPECT_NEAR(0.0, std::remainder(times.at(1) - 0.005, 0.02), 1e-9);
    EXPECT_GE(times.at(1), 0.005 + 3 * 0.02 - 1e-9) << "missed deadlines are not made up for";
    EXPECT_GE(task.execution_.max_, 50'000.0);
}

TEST_F(Executive, MoreConsecutiveOverloadsThanAllowedStopTheModel)
{
    options_.maxOverloads_ = 2;
    base().entry_ = [] { busyFor(std::chrono::milliseconds(2)); };
    const auto result = run();
    EXPECT_EQ(3U, result.tasks_.at(0).steps_);
    EXPECT_THAT(result.failure_, HasSubstr("3 consecutive overloads"));
}

TEST_F(Executive, DurationCountsModelTimeAndASlowTaskDoesNotHoldTheEndUp)
{
    options_.duration_ = 0.05;
    model_.tasks_.push_back(base());
    model_.tasks_[1].period_ = model_.tasks_[1].offset_ = 3600.0;
    const auto tasks = run().tasks_;
    EXPECT_GE(tasks.at(0).steps_ + tasks.at(0).missed_, 50U);
    EXPECT_LT(getModelInstanceModelInfo().tasks_[0].time_, 0.05 - 1e-9);
    EXPECT_EQ(0U, tasks.at(1).steps_);
}

TEST_F(Executive, APollingTaskStepsWhenItsPollSaysSo)
{
    int polls = 0;
    base().trigmode_ = POLLING;
    base().poll_ = [&] { return ++polls % 10 == 0; };
    EXPECT_EQ(5U, runSteps(5).tasks_.at(0).steps_);
    EXPECT_EQ(50, polls);
    base().poll_ = {};
    EXPECT_EQ(5U, runSteps(5).tasks_.at(0).latency_.count_) << "without a poll it spins on the clock";
}

TEST_F(Executive, WhatItCannotRunIsRefusedBeforeAnythingIsCreated)
{
    record();
    const auto refused = [this](const std::function<void()>& change, const std::string& because) {
        const auto before = model_;
        change();
        EXPECT_THAT(run().failure_, HasSubstr(because));
        model_ = before;
    };
    refused([this] { base().trigmode_ = INTERRUPT; }, "task 0: nothing waits for its interrupt: set poll_");
    refused([this] { base().mode_ = ASYNCHRONOUS; }, "ASYNCHRONOUS steps need an event");
    refused([this] { base().period_ = 0.0; }, "set period_");
    refused([this] { model_.tasks_.clear(); }, "no task");
    refused([this] { options_.reportFile_ = "/proc/none/report.json"; },
            "cannot write the report: /proc/none/report.json");
    EXPECT_THAT(story_.take(), ElementsAre());
}

TEST_F(Executive, JsonReportSaysWhatTheResultSays)
{
    sandbox::freshDirectory("/tmp/quillmark");
    options_.reportFile_ = "/tmp/quillmark/report.json";
    options_.describe_ = [] { return standalone::Description{{{"board", "00:03.0 \xff"}}}; };
    const auto result = runSteps(20);
    const auto report = nlohmann::json::parse(sandbox::readFile(options_.reportFile_));
    EXPECT_EQ("PASS", report["result"]);
    EXPECT_EQ(20, report["tasks"][0]["steps"]);
    EXPECT_EQ(result.tasks_.at(0).latency_.max_, report["tasks"][0]["latency_us"]["max"]);
    EXPECT_EQ(result.notRealTime_, report["not_real_time_because"]);
    EXPECT_EQ("00:03.0 \uFFFD", report["description"]["board"]);
    EXPECT_EQ(1, entries("/tmp/quillmark")) << "nothing temporary stays";
}

TEST_F(Executive, LeavesNoThreadAndNoDescriptorAndGivesTheSignalsBack)
{
    runSteps(1);  // what is opened once for all runs
    const auto descriptors = openDescriptors();
    const auto threads = entries("/proc/self/task");
    std::signal(SIGINT, SIG_IGN);
    runSteps(1);
    EXPECT_EQ(descriptors, openDescriptors());
    EXPECT_EQ(threads, entries("/proc/self/task"));
    EXPECT_EQ(SIG_IGN, std::signal(SIGINT, SIG_DFL));
}

TEST_F(Executive, WithoutRightsItRunsAndSaysThatItIsNotRealTime)
{
    const auto runAsUser = [this] {
        const rlimit none = {0, 0};
        if (::setrlimit(RLIMIT_MEMLOCK, &none) != 0 || ::setresuid(1000, 1000, 1000) != 0) std::exit(2);
        options_.logLevel_ = standalone::LogLevel::warning;
        const auto result = runSteps(3);
        std::exit(result.exitStatus_ == 0 && result.tasks_.at(0).steps_ == 3 ? 0 : 1);
    };
    EXPECT_EXIT(runAsUser(), ExitedWithCode(0),
                HasSubstr("SCHED_FIFO priority 80 refused (Operation not permitted): run as root, or"));
}
