/**
 * @file
 * Services that take part in every model run.
 */
#ifndef SLREALTIME_WORKER_HPP
#define SLREALTIME_WORKER_HPP

#include <slrealtime/Export.hpp>

#include <functional>
#include <memory>
#include <string>

namespace slrealtime {

struct TaskInfo;

/**
 * A platform service: something that takes part in every model run.
 *
 * A library registers a factory under a name when it is loaded; the executive creates one worker of each name
 * per run and calls the operations below. Every default does nothing. The order of the virtual operations is
 * part of the binary interface.
 *
 * Threads: initialize(), start(), stop() and terminate() run on the thread that runs the model, one at a
 * time; preStep() and postStep() run on the thread of the task that steps, so with several tasks they run at
 * the same time. An exception from any of them ends the run with the model's error; the shut-down still takes
 * place.
 */
class SLREALTIME_API Worker
{
public:
    Worker() = default;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    Worker(Worker&&) = delete;
    Worker& operator=(Worker&&) = delete;
    virtual ~Worker();

    /** Before the model's own initialisation. Called once per run. */
    virtual void initialize();

    /** After the model's initialisation and its start callbacks, before the first step. Called once per run.
     */
    virtual void start();

    /**
     * Before each step of each task. Part of the step: must not allocate, lock or make system calls.
     * @param task the task that is about to step; `time_` is the model time of this step
     */
    virtual void preStep(const TaskInfo* task);

    /**
     * After each step of each task, as preStep(); `runCount_` and `tet_` include this step.
     * @param task the task that has stepped
     */
    virtual void postStep(const TaskInfo* task);

    /** After the last step, before the model's termination; also when an earlier phase failed. Called once
     * per run. */
    virtual void stop();

    /** After the model's termination, the last call before destruction. Called once per run. */
    virtual void terminate();

    /**
     * Reserved for a host platform's housekeeping. The stand-alone executive never calls it.
     * @param active the host platform's
     */
    virtual void heartbeatWork(bool active);

    /**
     * Registers a service.
     *
     * A second registration under the same name replaces the factory and keeps the place in the order: the
     * latest loaded code wins, and no factory of code that was replaced is ever called.
     *
     * @param name    the service's name, unique in the process
     * @param factory makes one worker; must not return null
     *
     * Thread-safe; may be called from static initialisers of any library. Not for the real-time path.
     */
    static void doRegister(const std::string& name, std::function<std::unique_ptr<Worker>()> factory);
};

}  // namespace slrealtime

#endif
