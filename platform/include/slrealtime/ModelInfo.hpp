/**
 * @file
 * What a platform knows about a model and its tasks.
 */
#ifndef SLREALTIME_MODELINFO_HPP
#define SLREALTIME_MODELINFO_HPP

#include <slrealtime/Export.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/** What a platform offers to libraries and models. */
namespace slrealtime {

/** How the steps of a task follow each other. Unscoped: both `TimingMode::PERIODIC` and `PERIODIC` are in
 * use. */
enum TimingMode : std::int32_t
{
    PERIODIC = 0,     ///< at every multiple of the period
    ASYNCHRONOUS = 1  ///< whenever its event happens; INTERRUPT or POLLING, with a `poll_`
};

/** What starts a step. Unscoped: both `TriggerMode::TIMER` and `TIMER` are in use. */
enum TriggerMode : std::int32_t
{
    TIMER = 0,      ///< the thread sleeps until the deadline
    INTERRUPT = 1,  ///< a board's interrupt, for which `poll_` waits
    POLLING = 2     ///< the thread spins, on the clock or on `poll_`
};

/**
 * One task of a model.
 *
 * The first block is what the model says about the task; the executive only reads it. The second block is
 * written by the task's own thread while it steps. Read it in that task's step, in preStep() and postStep()
 * of a worker through the pointer handed to them, or while no task steps (before the first step, from stop()
 * on, after the run). Copying a whole ModelInfo from another thread while tasks step is a data race.
 */
struct TaskInfo
{
    int index_ = 0;                     ///< position in `tasks_`; the executive sets it
    std::function<void()> init_ = {};   ///< after the model's `initialize_`; may be empty
    std::function<void()> start_ = {};  ///< after the workers' start(), before the first step; may be empty
    std::function<void()> entry_ = {};  ///< one step
    /**
     * What releases a step: true. POLLING calls it over and over (empty: it spins on the clock instead).
     * INTERRUPT expects it to enable the interrupt and block until it comes; it is called again after the
     * step, after false, and not at all once the run ends. A signal ends the blocking then: return false.
     */
    std::function<bool()> poll_ = {};
    TriggerMode trigmode_ = TIMER;  ///< what starts a step
    TimingMode mode_ = PERIODIC;    ///< how steps follow each other
    double period_ = 0.0;           ///< PERIODIC: seconds, above 0; of an interrupt the one expected
    double offset_ = 0.0;           ///< seconds by which the first deadline comes later
    int priority_ = 0;              ///< SCHED_FIFO priority 1 to 99; 0: 80, one less for each task further on

    std::uint64_t runCount_ = 0;  ///< steps done
    std::uint64_t overload_ = 0;  ///< steps that ended after the following deadline
    double tet_ = 0.0;   ///< seconds: execution time of the last step (workers' preStep and `entry_`)
    double time_ = 0.0;  ///< seconds: model time of the step, `offset_` plus a multiple of `period_`;
                         ///< ASYNCHRONOUS: since the begin of the run
};

/** A named range of the model's memory (parameters, signals, states), for tools. The executive does not touch
 * it. */
struct Segment
{
    std::string name_ = {};    ///< what lies there
    void* address_ = nullptr;  ///< first byte; belongs to the model
    std::size_t size_ = 0;     ///< bytes
};

/** Everything the platform knows about a model. */
struct ModelInfo
{
    std::string modelName_ = {};             ///< empty: the name of the program
    std::function<void()> initialize_ = {};  ///< the blocks' initialisation; may be empty
    std::function<void()> terminate_ = {};   ///< the blocks' termination; may be empty
    const char** errorStatusPtr_ =
        nullptr;  ///< a text other than null there stops the model with that error; looked
                  ///< at after initialisation, start, and each step and each vain wait of the first task
    std::function<bool()> stopRequested_ =
        {};                               ///< true ends the run; asked after each step of the first task
    std::vector<TaskInfo> tasks_ = {};    ///< the first one is the base rate
    std::vector<Segment> segments_ = {};  ///< may be empty
};

/**
 * The model of this process: the one that runs, or the last one that did.
 *
 * @return a reference that stays valid; without a model an empty record (no tasks)
 *
 * Not synchronised: call it, and copy what it refers to, while no task steps. See TaskInfo for the fields
 * that change.
 */
SLREALTIME_API const ModelInfo& getModelInstanceModelInfo();

}  // namespace slrealtime

#endif
