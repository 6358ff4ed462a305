/**
 * @file
 * What only the stand-alone platform has: the services' registry made visible, and the executive.
 */
#ifndef SLREALTIME_STANDALONE_HPP
#define SLREALTIME_STANDALONE_HPP

#include <slrealtime/Export.hpp>
#include <slrealtime/ModelInfo.hpp>
#include <slrealtime/Worker.hpp>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace CLI {
class App;
}

namespace slrealtime {
class Histogram;
}

/** What only the stand-alone platform has. */
namespace slrealtime::standalone {

/**
 * Gives the names of all registered services in order of registration. Thread-safe.
 * @return the names
 */
SLREALTIME_API std::vector<std::string> workerNames();

/**
 * Makes a worker of a service. Thread-safe.
 * @param name the service's name
 * @return the worker, or null when no such service is registered
 */
SLREALTIME_API std::unique_ptr<Worker> createWorker(const std::string& name);

/**
 * Makes a model the one that getModelInstanceModelInfo() returns. Not while a model runs: the executive does
 * it itself.
 * @param model copied
 */
SLREALTIME_API void setModelInfo(const ModelInfo& model);

/**
 * Runs and forgets what registerCB_C() registered: lowest integer first, equal ones in order of registration.
 * What a callback registers runs afterwards, in the same call. An exception from a callback passes through;
 * the rest of its batch is forgotten. The executive calls this itself.
 */
SLREALTIME_API void runStartCallbacks();

/** Exit statuses of a model program. */
enum ExitStatus : int
{
    kExitDone = 0,    ///< ran to its end
    kExitFailed = 1,  ///< the model, the platform or the report failed
    kExitUsage = 2    ///< the command line was wrong; nothing ran
};

/** Times of one kind over a run, in microseconds; all 0 when count_ is 0. Percentiles are within 2 % above.
 */
struct TimeStatistics
{
    std::uint64_t count_ = 0;  ///< times counted
    double min_ = 0.0;         ///< the shortest
    double mean_ = 0.0;        ///< their mean
    double p50_ = 0.0;         ///< half of them are no longer
    double p99_ = 0.0;         ///< 99 % are no longer
    double p999_ = 0.0;        ///< 99.9 % are no longer
    double max_ = 0.0;         ///< the longest

    /** One column of the histogram: times from from_ up to, not including, to_. */
    struct Bin
    {
        double from_ = 0.0;        ///< its first time
        double to_ = 0.0;          ///< the next one's first time
        std::uint64_t count_ = 0;  ///< times in it
    };
    std::vector<Bin> histogram_ = {};  ///< from the first bin in use to the last
};

/** Collects times, such as a block's interrupt latency, for the run report. One thread at a time. */
class SLREALTIME_API TimeRecorder
{
public:
    TimeRecorder();
    ~TimeRecorder();
    TimeRecorder(const TimeRecorder&) = delete;
    TimeRecorder& operator=(const TimeRecorder&) = delete;

    /** Counts a time. Real-time safe. @param nanoseconds the time; below 0 counts as 0 */
    void record(std::int64_t nanoseconds);

    /** Sums up. @return what was counted so far */
    TimeStatistics statistics() const;

private:
    std::unique_ptr<Histogram> histogram_;
};

/** What a model adds to the run report. */
struct Description
{
    /** Such as {"board", "00:03.0 1234:11e8, BAR 0 at 0xfe000000, 1 MiB"} or {"interrupts lost", 0}. Names
     * differ. */
    std::vector<std::pair<std::string, std::variant<std::string, std::uint64_t>>> facts_ = {};
    /** Such as {"interrupt latency", recorder.statistics()}. Names differ. */
    std::vector<std::pair<std::string, TimeStatistics>> times_ = {};
};

/** Levels of log records, the least first. */
enum class LogLevel : int
{
    trace,
    debug,
    info,
    warning,
    error
};

/** How to run a model. The defaults run until a signal, with no file written. */
struct RunOptions
{
    std::uint64_t steps_ = 0;      ///< end after this many steps of the first task; 0: no limit
    double duration_ = 0.0;        ///< end at this model time of the first task, in seconds; 0: no limit
    unsigned maxOverloads_ = 100;  ///< more consecutive overloads of a task than this stop the model
    std::filesystem::path reportFile_ = {};       ///< JSON run report, replaced as a whole; empty: none
    std::filesystem::path logFile_ = {};          ///< rotating log file; empty: none
    LogLevel logLevel_ = LogLevel::info;          ///< least level shown and written
    std::function<Description()> describe_ = {};  ///< asked once when the steps have ended, boards still open
};

/** What one task did. */
struct TaskResult
{
    std::uint64_t steps_ = 0;        ///< steps done
    std::uint64_t overloads_ = 0;    ///< steps that ended after the following deadline
    std::uint64_t missed_ = 0;       ///< deadlines skipped because of that
    TimeStatistics latency_ = {};    ///< wake-up: actual start of a step less its deadline (none with poll_)
    TimeStatistics execution_ = {};  ///< workers' preStep and entry_
};

/** What a run came to. */
struct RunResult
{
    int exitStatus_ = kExitDone;                 ///< an ExitStatus
    std::string failure_ = {};                   ///< empty after a run without failure
    std::vector<std::string> notRealTime_ = {};  ///< each reason why the run was not real-time, with its cure
    std::vector<TaskResult> tasks_ = {};         ///< in the order of ModelInfo::tasks_
    std::string report_ = {};                    ///< the run report as text, ends in "PASS" or "FAIL: reason"
};

/**
 * Runs a model once, on the calling thread and one SCHED_FIFO thread per task, and returns when it has ended.
 *
 * Order: every registered worker is created; workers' initialize(); the model's initialize_; the tasks'
 * init_; start callbacks; workers' start(); the tasks' start_; steps. The run ends on SIGINT, SIGTERM, a
 * limit in `options`, the model's stopRequested_ or errorStatusPtr_, an exception, or too many consecutive
 * overloads. Then: workers' stop(); the model's terminate_; workers' terminate(); each exactly once and each
 * caught on its own. After a failure that part of this is done which has something to undo: stop() and
 * terminate() for every worker whose initialize() was called, terminate_ when initialize_ was called, also
 * when that call is the one that failed.
 *
 * What the executive cannot run (no task, a period of 0, an INTERRUPT trigger or ASYNCHRONOUS timing without
 * a poll_) is refused before anything is created.
 *
 * A TIMER task's steps are released at absolute deadlines on CLOCK_MONOTONIC, those of an INTERRUPT or
 * POLLING task by its poll_; a PERIODIC one's next deadline is then a period later. The limits in `options`
 * are looked at before each wait of the first task. A step that ends after the following deadline counts as
 * one overload; the deadlines it ran past are skipped, never made up for, and time_ stays on the grid.
 *
 * While it runs, SIGINT and SIGTERM are taken over, memory is locked, records are logged through queues
 * (Logger.hpp) and a crash flushes these before it takes its course. Afterwards no thread remains, the
 * signals' old dispositions are back, and the log sinks stay, unqueued, so that exit handlers' records reach
 * them. May be called again, not twice at the same time. Throws only when the process runs out of memory,
 * threads or descriptors before the first initialize().
 *
 * @param model   what to run
 * @param options limits, files, log level
 * @return what the run came to
 */
SLREALTIME_API RunResult runModel(ModelInfo model, const RunOptions& options);

/**
 * A model program's whole main(): reads the command line, runs the model, prints the run report on standard
 * output.
 *
 * A model is a program `<dir>/bin/<model>` with its identity in `<dir>/misc/UUID`; its log goes to
 * `<dir>/log/<model>.log` unless --log-file says otherwise. SIGINT and SIGTERM end the run, never the exit
 * handlers behind it; one that hangs needs SIGKILL.
 *
 * @param argc       number of words on the command line
 * @param argv       the words, the program first
 * @param model      what to run; its functions run after the command line was read
 * @param addOptions adds the model's own options to the command line; what they fill must outlive this
 *                   call. They may change the model, which is passed along, until the command line is read
 * @param describe   what the model adds to the run report, asked once when the steps have ended and the
 *                   model is not yet terminated; not when the start failed
 * @return an ExitStatus
 */
SLREALTIME_API int modelMain(int argc, char** argv, ModelInfo model,
                             const std::function<void(CLI::App&, ModelInfo&)>& addOptions = {},
                             const std::function<Description()>& describe = {});

}  // namespace slrealtime::standalone

#endif
