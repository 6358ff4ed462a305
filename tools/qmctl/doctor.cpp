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

/// Those of the report that is open; null without one.
Json savedMeasurements()
{
    const auto saved = files::content(kMeasurementsFile);
    if (!saved) return nullptr;
    Json values = Json::parse(*saved, nullptr, false);
    if (!values.is_object()) throw Failure("the report's measurements are damaged");
    return values;
}

}  // namespace

Measurements measure()
{
    return {measureCounter(), access("/usr/quillmark", W_OK) == 0, access("/dev/shm", W_OK) == 0,
            access(kDmaManager, W_OK) == 0};
}

Json toJson(const Measurements& measurements)
{
    return {{"counter_hz", measurements.counterHz},
            {"configuration_writable", measurements.configurationWritable},
            {"shared_memory_writable", measurements.sharedMemoryWritable},
            {"dma_manager_writable", measurements.dmaManagerWritable}};
}

Machine thisMachine()
{
    const Json saved = savedMeasurements();
    if (saved.is_null()) return {"/", measure()};
    return {"/",
            {saved.value("counter_hz", 0.0), saved.value("configuration_writable", false),
             saved.value("shared_memory_writable", false), saved.value("dma_manager_writable", false)}};
}

Json cpuTemperature()
{
    const Json saved = savedMeasurements();
    if (!saved.is_null()) return saved.value("cpu_temperature", Json());
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
