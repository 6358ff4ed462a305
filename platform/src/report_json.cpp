#include "report_data.hpp"

#include <nlohmann/json.hpp>

namespace slrealtime {

namespace {

using nlohmann::ordered_json;

ordered_json json(const standalone::TimeStatistics& times)
{
    ordered_json histogram = ordered_json::array();
    for (const auto& bin : times.histogram_)
        histogram.push_back({{"from", bin.from_}, {"to", bin.to_}, {"count", bin.count_}});
    return {{"count", times.count_}, {"min", times.min_},    {"mean", times.mean_}, {"p50", times.p50_},
            {"p99", times.p99_},     {"p99.9", times.p999_}, {"max", times.max_},   {"histogram", histogram}};
}

ordered_json json(const TaskFacts& task, const standalone::TaskResult& result)
{
    return {{"index", task.info.index_},
            {"trigger", triggerName(task.info)},
            {"timing", task.info.mode_ == PERIODIC ? "periodic" : "asynchronous"},
            {"period_s", task.info.period_},
            {"offset_s", task.info.offset_},
            {"priority", task.info.priority_},
            {"cpu", task.cpu >= 0 ? ordered_json(task.cpu) : ordered_json()},
            {"steps", result.steps_},
            {"overloads", result.overloads_},
            {"missed", result.missed_},
            {"latency_us", json(result.latency_)},
            {"execution_us", json(result.execution_)}};
}

}  // namespace

std::string jsonReport(const ReportData& data)
{
    const auto& result = data.result;
    ordered_json description = ordered_json::object();
    for (const auto& [name, fact] : data.description.facts_)
        std::visit([&, &key = name](const auto& value) { description[key] = value; }, fact);
    ordered_json times = ordered_json::object();
    for (const auto& [name, statistics] : data.description.times_)
        times[name] = json(statistics);
    ordered_json tasks = ordered_json::array();
    for (std::size_t i = 0; i < result.tasks_.size(); ++i)
        tasks.push_back(json(data.tasks[i], result.tasks_[i]));
    const ordered_json report = {
        {"model", data.model},
        {"uuid", data.uuid},
        {"kernel", {{"release", data.machine.kernel}, {"real_time", data.machine.realTimeKernel}}},
        {"cpus", {{"online", data.machine.cpus}, {"isolated", data.machine.isolated}}},
        {"services", data.services},
        {"description", description},
        {"times_us", times},
        {"real_time", !data.tasks.empty() && result.notRealTime_.empty()},
        {"not_real_time_because", result.notRealTime_},
        {"tasks", tasks},
        {"result", result.failure_.empty() ? "PASS" : "FAIL"},
        {"failure", result.failure_}};
    // Texts of the model need not be UTF-8.
    return report.dump(2, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace slrealtime
