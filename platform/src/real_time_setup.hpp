#pragma once

#include <pthread.h>

#include <string>
#include <vector>

namespace slrealtime {

/** The machine as far as real time goes. */
struct Machine
{
    std::string kernel = {};         ///< `uname -r`
    bool realTimeKernel = false;     ///< PREEMPT_RT
    unsigned cpus = 0;               ///< online
    std::vector<int> isolated = {};  ///< CPUs kept free for tasks
};

Machine thisMachine();

/** Each reason for a run not to be real-time, with its cure. */
using Reasons = std::vector<std::string>;

/** Notes what the kernel itself denies; `polling`: some task spins. */
void checkKernel(const Machine& machine, bool polling, Reasons& reasons);

/** All memory of the process, present and future, in RAM while one of these lives. */
class MemoryLock
{
public:
    explicit MemoryLock(Reasons& reasons);
    ~MemoryLock();
    MemoryLock(const MemoryLock&) = delete;
    MemoryLock& operator=(const MemoryLock&) = delete;

private:
    bool locked_ = false;
};

/** Gives a task's thread its SCHED_FIFO priority and CPU; a negative `cpu` leaves it free. A refusal is a
 * reason. */
void makeRealTime(pthread_t thread, int task, int priority, int cpu, Reasons& reasons);

/** Touches the part of the calling thread's stack that steps will use. */
void prefaultStack();

}  // namespace slrealtime
