#include "report_data.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace slrealtime {

namespace {

constexpr std::size_t kWidth = 100;
constexpr std::size_t kLabel = 24;
constexpr double kBar = 50.0;

/** "  label        text", the text broken at blanks and continued under itself. */
std::string entry(std::string_view label, std::string_view text)
{
    std::string lines = fmt::format("  {:<{}}", label, kLabel - 2);
    const std::size_t room = kWidth - kLabel;
    while (text.size() > room) {
        std::size_t cut = text.rfind(' ', room);
        if (cut == std::string_view::npos || cut == 0) cut = std::min(text.find(' ', room), text.size());
        lines += text.substr(0, cut);
        text.remove_prefix(std::min(cut + 1, text.size()));
        if (!text.empty()) lines += '\n' + std::string(kLabel, ' ');
    }
    return lines.append(text) + '\n';
}

std::string header(const ReportData& data)
{
    const auto& machine = data.machine;
    std::string text = "\nRun report\n";
    text += entry("model", data.model);
    text +=
        entry("UUID", data.uuid.empty() ? "none (no misc/UUID beside the model's bin folder)" : data.uuid);
    text += entry("kernel", machine.kernel + (machine.realTimeKernel ? ", real-time" : ", not real-time"));
    text += entry(
        "CPUs", fmt::format("{}, isolated: {}", machine.cpus,
                            machine.isolated.empty() ? "none"
                                                     : fmt::format("{}", fmt::join(machine.isolated, ", "))));
    text +=
        entry("services", data.services.empty() ? "none" : fmt::format("{}", fmt::join(data.services, ", ")));
    for (const auto& [name, fact] : data.description.facts_)
        text += entry(name, std::visit([](const auto& value) { return fmt::format("{}", value); }, fact));
    const auto& reasons = data.result.notRealTime_;
    if (reasons.empty()) text += entry("real time", data.tasks.empty() ? "no step was due" : "yes");
    for (const auto& reason : reasons)
        text += entry("real time", "NO: " + reason);
    return text;
}

std::string columns()
{
    return fmt::format("  {:<12}{:>10}{:>10}{:>10}{:>10}{:>10}{:>10}\n", "us", "min", "mean", "p50", "p99",
                       "p99.9", "max");
}

std::string row(std::string_view name, const standalone::TimeStatistics& times)
{
    if (times.count_ == 0) return fmt::format("  {:<12}{:>10}\n", name, "-");
    return fmt::format("  {:<12}{:>10.1f}{:>10.1f}{:>10.1f}{:>10.1f}{:>10.1f}{:>10.1f}\n", name, times.min_,
                       times.mean_, times.p50_, times.p99_, times.p999_, times.max_);
}

std::string chart(std::string_view title, const standalone::TimeStatistics& times)
{
    std::uint64_t most = 1;
    for (const auto& bin : times.histogram_)
        most = std::max(most, bin.count_);
    std::string text = fmt::format("\n  {}, us\n", title);
    for (const auto& bin : times.histogram_) {
        const double share = static_cast<double>(bin.count_) / static_cast<double>(most);
        const auto length = static_cast<std::size_t>(std::ceil(share * kBar));  // one occurrence shows
        text += fmt::format("  {:>9.0f} - {:<9.0f}{:>10}", bin.from_, bin.to_, bin.count_);
        text += length > 0 ? "  " + std::string(length, '#') + '\n' : "\n";
    }
    return text;
}

std::string section(const TaskFacts& task, const standalone::TaskResult& result)
{
    const auto& info = task.info;
    std::string text = fmt::format("\nTask {}: {}, ", info.index_, triggerName(info));
    text += info.mode_ == ASYNCHRONOUS
                ? "asynchronous"
                : fmt::format("period {} ms, offset {} ms", info.period_ * 1e3, info.offset_ * 1e3);
    text += fmt::format(", priority {}, CPU {}\n  steps {}", info.priority_,
                        task.cpu >= 0 ? std::to_string(task.cpu) : "any", result.steps_);
    text += info.mode_ == ASYNCHRONOUS
                ? "\n\n"
                : fmt::format(", overloads {}, missed {}\n\n", result.overloads_, result.missed_);
    text += columns();
    text += row("latency", result.latency_) + row("execution", result.execution_);
    if (result.latency_.count_ > 0) text += chart("wake-up latency", result.latency_);
    return text;
}

/** Times that the model has recorded itself. */
std::string section(const std::string& name, const standalone::TimeStatistics& times)
{
    return fmt::format("\nModel: {}\n\n", name) + columns() + row("", times) +
           (times.count_ > 0 ? chart(name, times) : "");
}

}  // namespace

std::string textReport(const ReportData& data)
{
    std::string text = header(data);
    for (std::size_t i = 0; i < data.result.tasks_.size(); ++i)
        text += section(data.tasks[i], data.result.tasks_[i]);
    for (const auto& [name, times] : data.description.times_)
        text += section(name, times);
    text += data.result.failure_.empty() ? "\nPASS\n" : fmt::format("\nFAIL: {}\n", data.result.failure_);
    return text;
}

}  // namespace slrealtime
