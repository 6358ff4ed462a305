#include "crash_flush.hpp"
#include "log_line.hpp"
#include "log_session.hpp"
#include "model_check.hpp"
#include "model_files.hpp"
#include "report_data.hpp"
#include "run_control.hpp"
#include "running_model.hpp"
#include "start_callbacks.hpp"
#include "task_threads.hpp"
#include <slrealtime/Standalone.hpp>

#include <fmt/format.h>

#include <cmath>

namespace slrealtime {

namespace {

using standalone::LogLevel;
using standalone::RunOptions;
using standalone::RunResult;

/** One run, phase by phase. */
class Run
{
public:
    Run(ModelInfo model, const RunOptions& options) : options_(options)
    {
        standalone::setModelInfo(completed(std::move(model)));
        report_.model = model_.modelName_;
        report_.uuid = modelUuid();
        report_.machine = thisMachine();
    }

    RunResult go()
    {
        if (checkFirst()) {
            bringUp();
            if (!control_.ending()) stepTasks();
            shutDown();
        }
        return result();
    }

private:
    bool checkFirst()
    {
        if (const auto reason = whyNotRunnable(model_); !reason.empty()) control_.fail(reason);
        if (!options_.reportFile_.empty())
            control_.guard("cannot write the report", [this] {
                checkReplaceable(options_.reportFile_);
                reportWritable_ = true;
            });
        return !control_.ending();
    }

    /** Calls `function` unless the run is ending already; afterwards the model's error status counts too. */
    template <typename Function>
    void phase(const std::string& name, Function&& function)
    {
        if (control_.ending()) return;
        control_.guard(name, std::forward<Function>(function));
        if (const char* error = errorStatus(model_); error != nullptr) control_.fail(error);
    }

    void bringUp()
    {
        control_.guard("creating the services", [this] { createWorkers(); });
        for (std::size_t i = 0; i < workers_.size(); ++i)
            phase("initialize() of " + report_.services[i], [this, i] {
                workersBegun_ = i + 1;
                workers_[i]->initialize();
            });
        phase("initialisation of the model", [this] {
            modelBegun_ = true;
            if (model_.initialize_) model_.initialize_();
        });
        for (const auto& task : model_.tasks_)
            if (task.init_) phase(fmt::format("initialisation of task {}", task.index_), task.init_);
        phase("start callbacks", [] { standalone::runStartCallbacks(); });
        for (std::size_t i = 0; i < workers_.size(); ++i)
            phase("start() of " + report_.services[i], [this, i] { workers_[i]->start(); });
        for (const auto& task : model_.tasks_)
            if (task.start_) phase(fmt::format("start of task {}", task.index_), task.start_);
    }

    void createWorkers()
    {
        for (const auto& name : standalone::workerNames()) {
            auto worker = standalone::createWorker(name);
            if (!worker) throw std::runtime_error(name + ": its factory made no worker");
            report_.services.push_back(name);
            workers_.push_back(std::move(worker));
        }
    }

    void stepTasks()
    {
        control_.guard("starting the tasks", [this] {
            records_.reserve(model_.tasks_.size());
            for (std::size_t i = 0; i < model_.tasks_.size(); ++i)
                records_.push_back(std::make_unique<TaskRecord>());
            const RunLimits limits = {options_.steps_, std::llround(options_.duration_ * 1e9),
                                      options_.maxOverloads_};
            TaskThreads threads(model_, workers_, limits, control_, records_);
            report_.tasks = threads.makeRealTime(report_.machine, report_.result.notRealTime_);
            for (const auto& reason : report_.result.notRealTime_)
                logLine(LogLevel::warning, "NOT REAL-TIME: " + reason);
            threads.release();
            control_.waitForEnd();
        });
    }

    void shutDown()
    {
        control_.end();
        for (std::size_t i = 0; i < workersBegun_; ++i)
            control_.guard("stop() of " + report_.services[i], [this, i] { workers_[i]->stop(); });
        if (options_.describe_ && !report_.tasks.empty())
            control_.guard("the model's description", [this] { report_.description = options_.describe_(); });
        if (modelBegun_ && model_.terminate_) control_.guard("termination of the model", model_.terminate_);
        for (std::size_t i = 0; i < workersBegun_; ++i)
            control_.guard("terminate() of " + report_.services[i], [this, i] { workers_[i]->terminate(); });
        control_.guard("end of the services", [this] { workers_.clear(); });
        forgetStartCallbacks();
    }

    RunResult result()
    {
        auto& result = report_.result;
        for (std::size_t i = 0; i < records_.size(); ++i) {
            const auto& record = *records_[i];
            const auto& task = model_.tasks_[i];
            result.tasks_.push_back({task.runCount_, task.overload_, record.missed, summarize(record.latency),
                                     summarize(record.execution)});
        }
        result.failure_ = control_.failure();
        if (reportWritable_) {
            control_.guard("cannot write the report",
                           [this] { replaceFile(options_.reportFile_, jsonReport(report_)); });
            result.failure_ = control_.failure();
        }
        result.exitStatus_ = result.failure_.empty() ? standalone::kExitDone : standalone::kExitFailed;
        result.report_ = textReport(report_);
        return result;
    }

    const RunOptions& options_;
    ModelInfo& model_ = runningModel();
    RunControl control_;
    ReportData report_;
    Workers workers_;
    std::vector<std::unique_ptr<TaskRecord>> records_;
    std::size_t workersBegun_ = 0;
    bool modelBegun_ = false;
    bool reportWritable_ = false;
};

}  // namespace

RunResult standalone::runModel(ModelInfo model, const RunOptions& options)
{
    const LogSession log(options.logLevel_, options.logFile_);
    const SignalStack signalStack;
    const CrashFlush crashFlush;
    return Run(std::move(model), options).go();
}

}  // namespace slrealtime
