#include "model_check.hpp"

#include "model_files.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace slrealtime {

namespace {

constexpr int kFirstPriority = 80;  // above the kernel's interrupt threads (50), below its watchdogs (99)
constexpr double kLongestSeconds = 86400.0;
constexpr double kShortestSeconds = 1e-6;

std::string whyNotRunnable(const TaskInfo& task)
{
    const bool eventDriven = task.trigmode_ != TIMER && task.poll_;
    if (task.trigmode_ < TIMER || task.trigmode_ > POLLING)
        return fmt::format("there is no trigger {}: set trigmode_ to TIMER, INTERRUPT or POLLING",
                           static_cast<int>(task.trigmode_));
    if (task.mode_ != PERIODIC && task.mode_ != ASYNCHRONOUS)
        return fmt::format("there is no timing {}: set mode_ to PERIODIC or ASYNCHRONOUS",
                           static_cast<int>(task.mode_));
    if (task.trigmode_ == INTERRUPT && !eventDriven)
        return "nothing waits for its interrupt: set poll_ to a function that blocks until it comes";
    if (task.mode_ == ASYNCHRONOUS && !eventDriven)
        return "ASYNCHRONOUS steps need an event: set trigmode_ to INTERRUPT or POLLING, and poll_";
    if (!task.entry_) return "it has no step function: set entry_";
    if (task.mode_ == PERIODIC && !(task.period_ >= kShortestSeconds && task.period_ <= kLongestSeconds))
        return fmt::format("a period of {} s cannot be kept: set period_ to {:.6f} to {:.0f}", task.period_,
                           kShortestSeconds, kLongestSeconds);
    if (!(task.offset_ >= 0.0 && task.offset_ <= kLongestSeconds))
        return fmt::format("an offset of {} s cannot be kept: set offset_ to 0 to {:.0f}", task.offset_,
                           kLongestSeconds);
    if (task.priority_ < 0 || task.priority_ > 99)
        return fmt::format(
            "there is no priority {}: set priority_ to 1 to 99, or 0 to leave it to the platform",
            task.priority_);
    return {};
}

}  // namespace

std::string whyNotRunnable(const ModelInfo& model)
{
    if (model.tasks_.empty())
        return "the model has no task: add a TaskInfo with entry_ and period_ to tasks_";
    for (std::size_t i = 0; i < model.tasks_.size(); ++i)
        if (const auto reason = whyNotRunnable(model.tasks_[i]); !reason.empty())
            return fmt::format("task {}: {}", i, reason);
    return {};
}

ModelInfo completed(ModelInfo model)
{
    if (model.modelName_.empty()) model.modelName_ = programName();
    int index = 0;
    for (auto& task : model.tasks_) {
        task.index_ = index;
        if (task.priority_ == 0) task.priority_ = std::max(kFirstPriority - index, 1);
        task.runCount_ = 0;
        task.overload_ = 0;
        task.tet_ = 0.0;
        task.time_ = 0.0;
        ++index;
    }
    return model;
}

}  // namespace slrealtime
