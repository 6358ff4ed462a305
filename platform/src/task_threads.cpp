#include "task_threads.hpp"

#include "signal_mask.hpp"

#include <algorithm>
#include <chrono>

namespace slrealtime {

namespace {

constexpr std::int64_t kLeadNs = 10'000'000;  // all threads are asleep on their first deadline by then
constexpr std::chrono::milliseconds kWakeInterval(1);

}  // namespace

WakeHandler::WakeHandler()
{
    struct sigaction action = {};
    action.sa_handler = [](int /*signal*/) {};  // and no SA_RESTART
    ::sigaction(kWakeSignal, &action, &before_);
}

WakeHandler::~WakeHandler()
{
    ::sigaction(kWakeSignal, &before_, nullptr);
}

TaskThreads::TaskThreads(ModelInfo& model, const Workers& workers, const RunLimits& limits,
                         RunControl& control, const std::vector<std::unique_ptr<TaskRecord>>& records)
    : model_(model), control_(control), records_(records)
{
    const SignalsBlocked blocked;
    const auto begin = begin_.get_future().share();
    for (std::size_t i = 0; i < model.tasks_.size(); ++i) {
        try {
            threads_.emplace_back(
                [runner = TaskRunner(model, model.tasks_[i], workers, limits, control, *records[i]),
                 begin]() mutable { runner.run(begin); });
        } catch (const std::system_error& error) {  // not thrown on: the threads that exist are to be joined
            control.fail(std::string("cannot create a task's thread: ") + error.what());
            break;
        }
    }
}

TaskThreads::~TaskThreads()
{
    control_.end();
    if (!released_) begin_.set_value(0);
    breakWaitsOff();
    for (auto& thread : threads_)
        thread.join();
}

// A signal that comes just before the blocking call is lost, so it is sent until the thread has left.
void TaskThreads::breakWaitsOff()
{
    for (std::size_t i = 0; i < threads_.size(); ++i) {
        if (model_.tasks_[i].trigmode_ != INTERRUPT) continue;
        while (!records_[i]->left) {
            if (records_[i]->waiting) ::pthread_kill(threads_[i].native_handle(), kWakeSignal);
            std::this_thread::sleep_for(kWakeInterval);
        }
    }
}

std::vector<TaskFacts> TaskThreads::makeRealTime(const Machine& machine, Reasons& reasons)
{
    const bool polling = std::any_of(model_.tasks_.begin(), model_.tasks_.end(),
                                     [](const TaskInfo& task) { return task.trigmode_ == POLLING; });
    checkKernel(machine, polling, reasons);
    memory_ = std::make_unique<MemoryLock>(reasons);
    std::vector<TaskFacts> facts;
    for (std::size_t i = 0; i < threads_.size(); ++i) {
        const auto& task = model_.tasks_[i];
        const int cpu = machine.isolated.empty() ? -1 : machine.isolated[i % machine.isolated.size()];
        slrealtime::makeRealTime(threads_[i].native_handle(), task.index_, task.priority_, cpu, reasons);
        facts.push_back({task, cpu});
    }
    return facts;
}

void TaskThreads::release()
{
    released_ = true;
    begin_.set_value(monotonicNow() + kLeadNs);
}

}  // namespace slrealtime
