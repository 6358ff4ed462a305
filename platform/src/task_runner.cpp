#include "task_runner.hpp"

#include "crash_flush.hpp"
#include "real_time_setup.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <time.h>  // NOLINT(modernize-deprecated-headers): clock_nanosleep

namespace slrealtime {

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kLongestSleep =
    kSecond / 20;  // how long a slow task may take to see the end of the run

std::int64_t toNanoseconds(double seconds)
{
    return std::llround(seconds * static_cast<double>(kSecond));
}

}  // namespace

std::int64_t monotonicNow()
{
    timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * kSecond + now.tv_nsec;
}

const char* errorStatus(const ModelInfo& model)
{
    return model.errorStatusPtr_ == nullptr ? nullptr : *model.errorStatusPtr_;
}

TaskRunner::TaskRunner(ModelInfo& model, TaskInfo& task, const Workers& workers, const RunLimits& limits,
                       RunControl& control, TaskRecord& record)
    : model_(model),
      task_(task),
      workers_(workers),
      limits_(limits),
      control_(control),
      record_(record),
      first_(task.index_ == 0),
      periodic_(task.mode_ == PERIODIC)
{}

void TaskRunner::run(const std::shared_future<std::int64_t>& begin)
{
    control_.guard(fmt::format("step of task {}", task_.index_), [&] {
        const SignalStack signalStack;
        prefaultStack();
        stepUntilEnd(begin.get());
    });
    record_.left = true;
    if (first_) control_.end();
}

void TaskRunner::stepUntilEnd(std::int64_t begin)
{
    begin_ = begin;
    Deadlines deadlines(begin + toNanoseconds(task_.offset_), toNanoseconds(task_.period_));
    while (!control_.ending() && !limitReached(deadlines) && awaitRelease(deadlines))
        step(deadlines);
}

bool TaskRunner::limitReached(const Deadlines& deadlines) const
{
    if (!first_) return false;
    if (limits_.steps > 0 && task_.runCount_ >= limits_.steps) return true;
    return limits_.durationNs > 0 &&
           (periodic_ ? deadlines.elapsed() : monotonicNow() - begin_) >= limits_.durationNs;
}

// Looks whether the run ends after each wait: a wait that was broken off releases no step.
bool TaskRunner::awaitRelease(Deadlines& deadlines)
{
    if (task_.trigmode_ == TIMER) {
        sleepUntil(deadlines.next());
    } else if (task_.poll_) {
        record_.waiting = true;
        while (!control_.ending() && !task_.poll_())
            if (first_) lookAtModel();
        record_.waiting = false;
        deadlines.releasedAt(monotonicNow());
    } else {
        while (!control_.ending() && monotonicNow() < deadlines.next()) {
        }
    }
    return !control_.ending();
}

void TaskRunner::sleepUntil(std::int64_t deadline) const
{
    for (auto now = monotonicNow(); now < deadline && !control_.ending(); now = monotonicNow()) {
        const std::int64_t until = std::min(deadline, now + kLongestSleep);
        const timespec wake = {until / kSecond, until % kSecond};
        ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &wake,
                          nullptr);  // a signal only wakes it too early
    }
}

void TaskRunner::step(Deadlines& deadlines)
{
    const std::int64_t begun = monotonicNow();
    if (!task_.poll_) record_.latency.record(begun - deadlines.next());
    task_.time_ = periodic_ ? task_.offset_ + static_cast<double>(deadlines.index()) * task_.period_
                            : static_cast<double>(begun - begin_) / static_cast<double>(kSecond);
    for (const auto& worker : workers_)
        worker->preStep(&task_);
    task_.entry_();
    const std::int64_t executed = monotonicNow() - begun;
    task_.tet_ = static_cast<double>(executed) / static_cast<double>(kSecond);
    ++task_.runCount_;
    record_.execution.record(executed);
    for (const auto& worker : workers_)
        worker->postStep(&task_);
    if (periodic_) judge(deadlines.stepEnded(monotonicNow()));
    if (first_) lookAtModel();
}

void TaskRunner::judge(std::uint64_t missed)
{
    if (missed == 0) {
        overloadsInARow_ = 0;
        return;
    }
    ++task_.overload_;
    record_.missed += missed;
    if (++overloadsInARow_ > limits_.maxOverloads)
        control_.fail(
            fmt::format("task {}: {} consecutive overloads, the last step took {:.0f} us of a period of "
                        "{:.0f} us: make the step shorter, the period longer, or allow more with "
                        "--max-overloads",
                        task_.index_, overloadsInARow_, task_.tet_ * 1e6, task_.period_ * 1e6));
}

void TaskRunner::lookAtModel()
{
    if (const char* error = errorStatus(model_); error != nullptr) control_.fail(error);
    if (model_.stopRequested_ && model_.stopRequested_()) control_.end();
}

}  // namespace slrealtime
