#pragma once

#include "histogram.hpp"
#include "real_time_setup.hpp"
#include <slrealtime/Standalone.hpp>

#include <string>
#include <vector>

namespace slrealtime {

/** What the report says about a task beyond its result. */
struct TaskFacts
{
    TaskInfo info;
    int cpu = -1;  ///< negative: any
};

/** Everything the run report says, in text and as JSON. */
struct ReportData
{
    std::string model = {};
    std::string uuid = {};
    Machine machine = {};
    std::vector<std::string> services = {};
    standalone::Description description = {};
    std::vector<TaskFacts> tasks = {};
    standalone::RunResult result = {};
};

/** Sums a histogram up for the report, in bins of 1, 2, 5, 10 ... microseconds. */
standalone::TimeStatistics summarize(const Histogram& histogram);

/** "timer", "interrupt" or "polling". */
const char* triggerName(const TaskInfo& task);

std::string textReport(const ReportData& data);
std::string jsonReport(const ReportData& data);

}  // namespace slrealtime
