// qmctl doctor: is this machine ready to run models?

#include "doctor.hpp"

#include "child.hpp"
#include "files.hpp"
#include "nouns.hpp"
#include "text.hpp"
#include <qm/cpu_temperature.h>

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <x86intrin.h>

namespace qmctl {

namespace {

constexpr std::array kStates{"ok", "note", "problem"};
constexpr char kDmaManager[] = "/dev/u-dma-buf-mgr";
constexpr auto kMeasuringTime = std::chrono::milliseconds(100);

/// Counts per second of the kernel's own clock.
double measureCounter()
{
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    const auto first = __rdtsc();
    while (Clock::now() - begin < kMeasuringTime) {
    }
    const auto end = Clock::now();
    const auto last = __rdtsc();
    return static_cast<double>(last - first) / std::chrono::duration<double>(end - begin).count();
}

Failure damaged(const std::string& what)
{
    return Failure(fmt::format("the report is damaged: {} {}; ask for a new one, made by 'qmctl report'",
                               kMeasurementsFile, what));
}

/// A value of the report's, of the same kind as the one that stands for it where it is missing.
Json valueOf(const Json& values, const char* name, const Json& otherwise)
{
    Json value = values.value(name, otherwise);
    if (value.is_number() ? !otherwise.is_number() : value.type() != otherwise.type())
        throw damaged(
            fmt::format("gives '{}' as {} instead of {}", name, value.type_name(), otherwise.type_name()));
    return value;
}

/// Those of the report that is open; nothing without one.
std::optional<SavedMeasurements> savedMeasurements()
{
    const auto text = files::content(kMeasurementsFile);
    return text ? std::optional(measurementsIn(*text)) : std::nullopt;
}

}  // namespace

Measurements measure()
{
    // Once: a report's two answers are the same, and the counter is waited for only once.
    static const Measurements measured = {measureCounter(), access("/usr/quillmark", W_OK) == 0,
                                          access("/dev/shm", W_OK) == 0, access(kDmaManager, W_OK) == 0};
    return measured;
}

Json toJson(const Measurements& measurements)
{
    return {{"counter_hz", measurements.counterHz},
            {"configuration_writable", measurements.configurationWritable},
            {"shared_memory_writable", measurements.sharedMemoryWritable},
            {"dma_manager_writable", measurements.dmaManagerWritable}};
}

SavedMeasurements measurementsIn(const std::string& text)
{
    const Json values = Json::parse(text, nullptr, false);
    if (!values.is_object()) throw damaged("is no JSON object");
    const Json temperature = values.value("cpu_temperature", Json());
    return {
        {valueOf(values, "counter_hz", 0.0), valueOf(values, "configuration_writable", false),
         valueOf(values, "shared_memory_writable", false), valueOf(values, "dma_manager_writable", false)},
        temperature.is_null() ? temperature : valueOf(values, "cpu_temperature", 0)};
}

Machine thisMachine()
{
    const auto saved = savedMeasurements();
    return {"/", saved ? saved->measurements : measure()};
}

Json cpuTemperature()
{
    if (const auto saved = savedMeasurements()) return saved->cpuTemperature;
    const Json degrees = inChild([] { return Json(qm_getCpuTemperature()); }).value;
    return degrees == -1 ? Json() : degrees;
}

Outcome examine(const Machine& machine)
{
    Outcome outcome{Json::array()};
    for (const Check& check : checks()) {
        const Finding finding = check.look(machine);
        const bool good = finding.verdict == Verdict::ok;
        const std::string cure = finding.cure.empty() ? check.cure : finding.cure;
        outcome.value.push_back({{"check", check.name},
                                 {"state", kStates.at(static_cast<std::size_t>(finding.verdict))},
                                 {"finding", finding.text},
                                 {"breaks", good ? "" : check.breaks},
                                 {"cure", good ? "" : cure}});
        if (finding.verdict == Verdict::problem) outcome.status = kProblems;
    }
    return outcome;
}

std::string showFindings(const Json& findings, const Look& look)
{
    int problems = 0;
    int notes = 0;
    for (const Json& finding : findings) {
        problems += finding.at("state") == "problem" ? 1 : 0;
        notes += finding.at("state") == "note" ? 1 : 0;
    }
    std::vector<Column> columns{{"State", "state"},
                                {"Check", "check"},
                                {"Finding", "finding", true},
                                {"What it breaks", "breaks", true}};
    const Column cure{"Cure", "cure", true};
    const Look page{look.colour, std::min(look.width, Look{}.width)};
    std::string text;
    if (page.width < Look{}.width) {  // a cure is to be copied: no line break within
        Json cures = findings;
        cures.erase(
            std::remove_if(cures.begin(), cures.end(),
                           [](const Json& finding) { return finding.at("cure").get<std::string>().empty(); }),
            cures.end());
        text = table(findings, columns, page, "no checks") + '\n' +
               table(cures, {{"Check", "check"}, cure}, page, "nothing to cure");
    } else {
        columns.push_back(cure);
        text = table(findings, columns, page, "no checks");
    }
    return text + fmt::format("\n{} checks, {} problem{}, {} note{}\n", findings.size(), problems,
                              problems == 1 ? "" : "s", notes, notes == 1 ? "" : "s");
}

std::vector<Command> doctorCommands()
{
    return {{"doctor",
             "",
             "Tell whether this machine is ready to run models",
             {},
             [](const Arguments&) { return examine(thisMachine()); },
             showFindings,
             "A problem keeps models from running, or from running in time; a note is worth knowing. Exit "
             "status 3 when there is a problem."}};
}

}  // namespace qmctl
