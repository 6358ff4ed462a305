#pragma once

#include "report_data.hpp"
#include "task_runner.hpp"

#include <csignal>
#include <future>
#include <thread>
#include <vector>

namespace slrealtime {

/** While it lives, kWakeSignal makes a blocking call return instead of being ignored. */
class WakeHandler
{
public:
    WakeHandler();
    ~WakeHandler();
    WakeHandler(const WakeHandler&) = delete;
    WakeHandler& operator=(const WakeHandler&) = delete;

private:
    struct sigaction before_ = {};
};

/** The threads of all tasks, from waiting for their common begin to the end of the run. */
class TaskThreads
{
public:
    TaskThreads(ModelInfo& model, const Workers& workers, const RunLimits& limits, RunControl& control,
                const std::vector<std::unique_ptr<TaskRecord>>& records);
    /** Ends the run and waits for every thread. */
    ~TaskThreads();
    TaskThreads(const TaskThreads&) = delete;
    TaskThreads& operator=(const TaskThreads&) = delete;

    /** Locks memory, gives the threads priority and CPU; fills `reasons` with what was refused. */
    std::vector<TaskFacts> makeRealTime(const Machine& machine, Reasons& reasons);

    /** Lets the first deadlines begin a moment from now. */
    void release();

private:
    void breakWaitsOff();

    ModelInfo& model_;
    RunControl& control_;
    const std::vector<std::unique_ptr<TaskRecord>>& records_;
    WakeHandler wakeHandler_;
    std::promise<std::int64_t> begin_;
    bool released_ = false;
    std::unique_ptr<MemoryLock> memory_;
    std::vector<std::thread> threads_;
};

}  // namespace slrealtime
