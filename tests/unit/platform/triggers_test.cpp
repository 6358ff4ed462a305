#include "test.hpp"
#include <slrealtime/Standalone.hpp>

#include <sys/eventfd.h>

using namespace slrealtime;  // NOLINT(google-build-using-namespace)

namespace {

using namespace qm::test;

/** An interrupt source that a test raises: `wait` blocks in one read, as a driver block's wait does. */
class Source
{
public:
    ~Source() { ::close(event_); }
    void raise() const { EXPECT_EQ(0, ::eventfd_write(event_, 1)); }
    bool wait()
    {
        eventfd_t one = 0;
        if (::eventfd_read(event_, &one) == 0) return true;
        interrupted_ += errno == EINTR ? 1 : 0;
        return false;
    }
    int interrupted() const { return interrupted_; }

private:
    int event_ = ::eventfd(0, EFD_CLOEXEC | EFD_SEMAPHORE);
    int interrupted_ = 0;
};

struct Triggers : testing::Test
{
    Triggers()
    {
        options_.logLevel_ = standalone::LogLevel::error;
        interrupt_.trigmode_ = INTERRUPT;
        interrupt_.period_ = 3600.0;
        interrupt_.poll_ = [this] { return source_.wait(); };
        interrupt_.entry_ = [this] { ++steps_; };
        timer_.period_ = 0.001;
        timer_.entry_ = [this] { source_.raise(); };
    }
    standalone::RunResult run(std::vector<TaskInfo> tasks, std::uint64_t steps)
    {
        ModelInfo model;
        model.tasks_ = std::move(tasks);
        options_.steps_ = steps;
        return standalone::runModel(model, options_);
    }

    Source source_;
    TaskInfo interrupt_;
    TaskInfo timer_;
    standalone::RunOptions options_;
    std::uint64_t steps_ = 0;
};

}  // namespace

TEST_F(Triggers, AnInterruptDrivesTheBaseRateAndTheRunEndsWithItsSteps)
{
    const auto result = run({interrupt_, timer_}, 20);
    EXPECT_EQ(0, result.exitStatus_) << result.failure_;
    EXPECT_EQ(20U, steps_);
    EXPECT_DOUBLE_EQ(19 * 3600.0, getModelInstanceModelInfo().tasks_[0].time_) << "model time counts periods";
    EXPECT_THAT(result.report_, HasSubstr("Task 0: interrupt, period"));
}

TEST_F(Triggers, AnAsynchronousTaskHasNoDeadlineAndItsTimeIsTheRuns)
{
    interrupt_.mode_ = ASYNCHRONOUS;
    interrupt_.period_ = 0.0;
    interrupt_.entry_ = [] { ::usleep(3000); };  // longer than the timer's period
    const auto result = run({timer_, interrupt_}, 30);
    EXPECT_GT(result.tasks_.at(1).steps_, 1U);
    EXPECT_EQ(0U, result.tasks_.at(1).overloads_);
    EXPECT_GT(getModelInstanceModelInfo().tasks_[1].time_, 0.003);
}

TEST_F(Triggers, TheEndOfTheRunBreaksAWaitOffAndNoStepFollows)
{
    timer_.entry_ = [] {};
    const auto before = std::signal(SIGURG, SIG_IGN);
    const auto result = run({timer_, interrupt_}, 5);
    EXPECT_EQ(SIG_IGN, std::signal(SIGURG, before)) << "the disposition comes back";
    EXPECT_EQ(0, result.exitStatus_) << result.failure_;
    EXPECT_EQ(0U, steps_);
    EXPECT_GE(source_.interrupted(), 1);
}

TEST_F(Triggers, SignalsEndAModelThatWaitsForItsBaseRateAlsoWhenTheyComeTwice)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        timer_.entry_ = [signal] { EXPECT_EQ(0, ::kill(::getpid(), signal) + ::kill(::getpid(), signal)); };
        EXPECT_EQ(0, run({interrupt_, timer_}, 0).exitStatus_);
        EXPECT_EQ(0U, steps_);
    }
}

TEST_F(Triggers, AnExceptionInAWaitStopsTheModel)
{
    interrupt_.poll_ = []() -> bool { throw std::runtime_error("the board is gone"); };
    EXPECT_EQ("step of task 0: the board is gone", run({interrupt_, timer_}, 5).failure_);
}
