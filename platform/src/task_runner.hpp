#pragma once

#include "deadlines.hpp"
#include "histogram.hpp"
#include "run_control.hpp"
#include <slrealtime/ModelInfo.hpp>
#include <slrealtime/Worker.hpp>

#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <vector>

namespace slrealtime {

using Workers = std::vector<std::unique_ptr<Worker>>;

/** What a task leaves behind for the report. */
struct TaskRecord
{
    Histogram latency;
    Histogram execution;
    std::uint64_t missed = 0;
    std::atomic<bool> waiting = false;  ///< in a poll_ that may block: a signal there interrupts no step
    std::atomic<bool> left = false;     ///< no further wait
};

/** When a run ends by itself; 0 stands for no limit. */
struct RunLimits
{
    std::uint64_t steps = 0;
    std::int64_t durationNs = 0;
    unsigned maxOverloads = 0;
};

/** Now, in nanoseconds of the clock that deadlines are on. */
std::int64_t monotonicNow();

/**
 * One task's life on its thread. The step path allocates nothing, takes no lock and makes no system call but
 * the wait for its deadline or event. The first task is the one that ends the run by itself.
 */
class TaskRunner
{
public:
    TaskRunner(ModelInfo& model, TaskInfo& task, const Workers& workers, const RunLimits& limits,
               RunControl& control, TaskRecord& record);

    /** Prepares the thread, waits for the time that the first deadlines count from, steps until the run ends.
     */
    void run(const std::shared_future<std::int64_t>& begin);

private:
    void stepUntilEnd(std::int64_t begin);
    bool limitReached(const Deadlines& deadlines) const;
    bool awaitRelease(Deadlines& deadlines);
    void sleepUntil(std::int64_t deadline) const;
    void step(Deadlines& deadlines);
    void judge(std::uint64_t missed);
    void lookAtModel();

    ModelInfo& model_;
    TaskInfo& task_;
    const Workers& workers_;
    RunLimits limits_;
    RunControl& control_;
    TaskRecord& record_;
    bool first_;
    bool periodic_;
    std::int64_t begin_ = 0;
    unsigned overloadsInARow_ = 0;
};

/** The text that the model has put in its error status, or null. */
const char* errorStatus(const ModelInfo& model);

}  // namespace slrealtime
