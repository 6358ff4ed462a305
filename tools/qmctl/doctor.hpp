#ifndef QMCTL_DOCTOR_HPP
#define QMCTL_DOCTOR_HPP

#include "command.hpp"

#include <filesystem>
#include <vector>

namespace qmctl {

/// What no file of the system tells, and what therefore goes into a report.
struct Measurements
{
    double counterHz = 0;                ///< of the time-stamp counter
    bool configurationWritable = false;  ///< /usr/quillmark
    bool sharedMemoryWritable = false;   ///< /dev/shm
    bool dmaManagerWritable = false;     ///< /dev/u-dma-buf-mgr
};

Measurements measure();

/// The machine that is looked at: its files below `root`, and what was measured on it.
struct Machine
{
    std::filesystem::path root;
    Measurements measurements;

    [[nodiscard]] std::filesystem::path operator/(const std::string& path) const { return root / path; }
};

enum class Verdict
{
    ok,
    note,  ///< worth knowing; models run
    problem
};

struct Finding
{
    Verdict verdict;
    std::string text;
    std::string cure;  ///< where it depends on the finding; else the check's own
};

/// One row of the doctor's table.
struct Check
{
    const char* name;
    const char* breaks;
    const char* cure;
    Finding (*look)(const Machine&);
};

const std::vector<Check>& checks();

/// The findings of all checks as {"check", "state", "finding", "breaks", "cure"}; status 3 with a problem.
Outcome examine(const Machine& machine);

std::string showFindings(const Json& findings, const Look& look);

/// This machine, or the one whose report is open.
Machine thisMachine();

/// The processor's temperature in degrees Celsius, or null; the one in the report that is open.
Json cpuTemperature();

/// What a report's file of measurements says. A Failure, which names the place, for what is none.
struct SavedMeasurements
{
    Measurements measurements;
    Json cpuTemperature;
};
SavedMeasurements measurementsIn(const std::string& text);

/// Where a report keeps the measurements of its machine.
constexpr char kMeasurementsFile[] = "/qmctl/measurements.json";
Json toJson(const Measurements& measurements);

}  // namespace qmctl

#endif
