// executive_bench STEPS FILE: runs an empty model of 1 ms steps, prints the 99th percentile of the wake-up
// latency as the run report has it, and appends to the file how late the code of each step began: both in
// microseconds. Ends with 1 when the run was not real-time.

#include <slrealtime/Standalone.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <vector>

namespace {

constexpr double kPeriod = 0.001;
constexpr int kPriority = 90;

double nowUs()
{
    timespec now{};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

/// When the steps began, less their model time: each has the same origin, which is not told.
std::vector<double> runSteps(std::uint64_t steps, slrealtime::standalone::RunResult& result)
{
    std::vector<double> begins;
    begins.reserve(steps);
    slrealtime::TaskInfo task;
    task.period_ = kPeriod;
    task.priority_ = kPriority;
    task.entry_ = [&] {
        if (begins.size() < steps)
            begins.push_back(nowUs() - slrealtime::getModelInstanceModelInfo().tasks_[0].time_ * 1e6);
    };
    slrealtime::ModelInfo model;
    model.tasks_.push_back(task);
    slrealtime::standalone::RunOptions options;
    options.steps_ = steps;
    options.logLevel_ = slrealtime::standalone::LogLevel::error;
    result = slrealtime::standalone::runModel(model, options);
    return begins;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::uint64_t steps = argc == 3 ? std::strtoull(argv[1], nullptr, 10) : 0;
    if (steps == 0) {
        (void)std::fputs("usage: executive_bench STEPS FILE\n", stderr);
        return 2;
    }
    slrealtime::standalone::RunResult result;
    const std::vector<double> begins = runSteps(steps, result);
    if (begins.empty() || result.exitStatus_ != 0 || !result.notRealTime_.empty()) {
        (void)std::fputs(result.report_.c_str(), stderr);
        return 1;
    }
    // The least late step was as late as the executive says, which fixes the origin.
    const double origin = *std::ranges::min_element(begins) - result.tasks_[0].latency_.min_;
    std::ofstream file(argv[2], std::ios::app);
    for (const double begin : begins)
        file << begin - origin << '\n';
    (void)std::printf("%.1f\n", result.tasks_[0].latency_.p99_);
    return file.flush() ? 0 : 1;
}
