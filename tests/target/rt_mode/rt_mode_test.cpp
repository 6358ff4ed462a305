#include "kernel_calls.hpp"
#include "log_capture.hpp"
#include "process.hpp"
#include "sandbox.hpp"
#include "world.hpp"
#include <qm.h>
#include <slrealtime/Standalone.hpp>

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <optional>
#include <ostream>

namespace {

std::optional<qm_TargetType> pretended;  // some models cannot be detected, and some do not exist

}  // namespace

// Comes before libqm's, for libqm too.
extern "C" __attribute__((visibility("default"))) qm_TargetType qm_getTargetType()
{
    if (pretended) return *pretended;
    static auto* const original = reinterpret_cast<qm_TargetType (*)()>(dlsym(RTLD_NEXT, "qm_getTargetType"));
    return original();
}

namespace qm::test {

namespace {

namespace fs = std::filesystem;
using slrealtime::TaskInfo;
using slrealtime::TimingMode;
using slrealtime::TriggerMode;
using testing::IsEmpty;

constexpr const char* kIsolated = "/sys/devices/system/cpu/isolated";
constexpr const char* kRtCpus = "/sys/kernel/qm/rt_cpus";
constexpr const char* kHrtimer = "/sys/kernel/qm/disable_hrtimer";
constexpr const char* kLed = "/sys/devices/platform/kite/mcu/led_pulse_period";
constexpr const char* kGpe = "/sys/firmware/acpi/interrupts/gpe0F";

using Lines = std::vector<std::string>;

/** A target with all files that a run touches; without a pretended model it is a Cube. */
class RtMode : public testing::Test
{
protected:
    RtMode()
    {
        world_.add(board(0x8086, 0x5AD9).at(0, 19, 1).multiFunction().bridgeTo(1, 1));
        world_.add(board(0x8086, 0x157B).at(1, 0));
        sandbox::writeFile(kIsolated, "2-3\n");
        for (const char* file : {kRtCpus, kHrtimer, kLed, kGpe})
            sandbox::writeFile(file, "");
        setModel(TriggerMode::TIMER, TimingMode::PERIODIC);
    }

    static void setModel(TriggerMode trigger, TimingMode mode)
    {
        TaskInfo baseRate;
        baseRate.trigmode_ = trigger;
        baseRate.mode_ = mode;
        TaskInfo other;
        other.trigmode_ = trigger == TriggerMode::TIMER ? TriggerMode::POLLING : TriggerMode::TIMER;
        other.mode_ = mode == TimingMode::PERIODIC ? TimingMode::ASYNCHRONOUS : TimingMode::PERIODIC;
        slrealtime::ModelInfo model;
        model.tasks_ = {baseRate, other};
        slrealtime::standalone::setModelInfo(model);
    }

    /** One whole run; every write below /sys as "file: bytes", one a write. */
    Lines run()
    {
        const KernelCalls calls;
        service_->initialize();
        service_->start();
        service_->stop();
        Lines writes;
        for (const FileWrite& write : calls.writes)
            writes.push_back(write.file + ": " + write.bytes);
        return writes;
    }

    World world_;
    LogCapture log_;
    std::unique_ptr<slrealtime::Worker> service_ = slrealtime::standalone::createWorker("QuillmarkRTService");
};

const Lines kLedOnly = {"led_pulse_period: 3000\n", "led_pulse_period: 0\n"};
const Lines kWholeRun = {"led_pulse_period: 3000\n", "disable_hrtimer: 0\n", "rt_cpus: 2-3\n", "rt_cpus: \n",
                         "led_pulse_period: 0\n"};
const Lines kCubeWithoutRealTime = {"gpe0F: disable\n", "led_pulse_period: 3000\n", "gpe0F: enable\n",
                                    "led_pulse_period: 0\n"};
const Lines kWholeRunOfACube = {
    "gpe0F: disable\n", "led_pulse_period: 3000\n", "disable_hrtimer: 0\n", "rt_cpus: 2-3\n",
    "rt_cpus: \n",      "gpe0F: enable\n",          "led_pulse_period: 0\n"};

class RtModeTarget : public RtMode, public testing::WithParamInterface<int>
{};

TEST_P(RtModeTarget, IsOneThatEntersRealTimeModeOrOnlyLightsItsLed)
{
    constexpr std::array kRealTime = {KR410,  KR411, Lowland, Lowland_TopLayer, RoverV2, Cube, RoverV3,
                                      Zenith, Brisa, Otter};
    const auto type = static_cast<qm_TargetType>(GetParam());
    const bool isRealTime = std::count(kRealTime.begin(), kRealTime.end(), type) != 0;
    pretended = type;
    const auto descriptors = openDescriptors();
    const Lines writes = run();
    EXPECT_EQ(descriptors.size() + (isRealTime ? 2 : 0), openDescriptors().size());
    if (type == Cube)
        EXPECT_EQ(kWholeRunOfACube, writes);
    else
        EXPECT_EQ(isRealTime ? kWholeRun : kLedOnly, writes);
    EXPECT_EQ(isRealTime ? 3U : 0U, log_.lines().size());
    service_.reset();
    EXPECT_EQ(descriptors, openDescriptors());
}

INSTANTIATE_TEST_SUITE_P(All, RtModeTarget, testing::Range(static_cast<int>(KR410), NonQuillmark + 2));

struct Decision
{
    const char* name;
    TriggerMode trigger;
    TimingMode mode;
    bool polling;
    const char* words;
    const char* hrtimer;
};

void PrintTo(const Decision& row, std::ostream* out)
{
    *out << row.name;
}

class RtModeDecision : public RtMode, public testing::WithParamInterface<Decision>
{};

TEST_P(RtModeDecision, FollowsTheBaseRateAndTheBuild)
{
    const Decision& decision = GetParam();
    setModel(decision.trigger, decision.mode);
    const std::string program = fs::read_symlink("/proc/self/exe");
    const fs::path modelDir = program.substr(0, program.find("/bin/"));
    sandbox::freshDirectory(modelDir);
    if (decision.polling) fs::create_directory(modelDir / "isPollingMode");
    pretended = Zenith;

    Lines expected = kWholeRun;
    expected[1] = std::string("disable_hrtimer: ") + decision.hrtimer + "\n";
    EXPECT_EQ(expected, run());
    Lines log;
    if (decision.polling) log.emplace_back("debug QM: Polling mode indicated by model build");
    log.emplace_back("debug QM: Found Quillmark Linux RT Kernel with isolated CPU(s): 2-3");
    log.push_back(std::string("debug QM: Entering RT mode using ") + decision.words);
    log.emplace_back("debug QM: Leaving RT mode");
    EXPECT_EQ(log, log_.lines());
}

INSTANTIATE_TEST_SUITE_P(
    For, RtModeDecision,
    testing::Values(Decision{"APeriodicTimer", TriggerMode::TIMER, TimingMode::PERIODIC, false,
                             "periodic timer trigger", "0"},
                    Decision{"APeriodicInterrupt", TriggerMode::INTERRUPT, TimingMode::PERIODIC, false,
                             "periodic interrupt trigger, disabling HRTIMER", "1"},
                    Decision{"AnAsynchronousTimer", TriggerMode::TIMER, TimingMode::ASYNCHRONOUS, false,
                             "asynchronous timer trigger, disabling HRTIMER", "1"},
                    Decision{"PeriodicPolling", TriggerMode::POLLING, TimingMode::PERIODIC, false,
                             "periodic polling trigger, disabling HRTIMER", "1"},
                    Decision{"ATriggerOfAnotherRelease", static_cast<TriggerMode>(7),
                             TimingMode::ASYNCHRONOUS, false,
                             "asynchronous polling trigger, disabling HRTIMER", "1"},
                    Decision{"ATimerBuiltForPolling", TriggerMode::TIMER, TimingMode::PERIODIC, true,
                             "periodic timer trigger in polling mode, disabling HRTIMER", "1"},
                    Decision{"AnInterruptBuiltForPolling", TriggerMode::INTERRUPT, TimingMode::ASYNCHRONOUS,
                             true, "asynchronous interrupt trigger in polling mode, disabling HRTIMER", "1"}),
    [](const auto& row) { return row.param.name; });

struct Defect
{
    const char* name;
    const char* file;
    std::optional<std::string> content;  // nothing: the file is missing
    Lines writes;
    Lines log;  // from info on
};

void PrintTo(const Defect& row, std::ostream* out)
{
    *out << row.name;
}

class RtModeDefect : public RtMode, public testing::WithParamInterface<Defect>
{};

TEST_P(RtModeDefect, LeavesTheRestOfTheRunAsItIs)
{
    const Defect& defect = GetParam();
    fs::remove(defect.file);
    if (defect.content == "full")
        fs::create_symlink("/dev/full", defect.file);
    else if (defect.content)
        sandbox::writeFile(defect.file, *defect.content);
    EXPECT_EQ(defect.writes, run());
    EXPECT_EQ(defect.log, log_.linesFrom("info"));
    EXPECT_EQ(defect.content.has_value(), fs::exists(defect.file)) << "no file is made";
}

Lines without(Lines lines, const std::string& file)
{
    std::erase_if(lines, [&](const std::string& line) { return line.starts_with(file); });
    return lines;
}

Lines withIsolated(const std::string& cpus)
{
    Lines lines = kWholeRunOfACube;
    lines[3] = "rt_cpus: " + cpus + "\n";
    return lines;
}

Lines notOpened(const std::string& file)
{
    return {"error QM: failed to open " + file + " for writing: No such file or directory"};
}

Lines twice(const std::string& line)
{
    return {line, line};
}

Lines notWritten(const std::string& file)
{
    return twice("error QM: failed to write to " + file + ": No space left on device");
}

INSTANTIATE_TEST_SUITE_P(
    Of, RtModeDefect,
    testing::Values(
        Defect{"IsolatedMissing",
               kIsolated,
               {},
               kCubeWithoutRealTime,
               {"error QM: failed to read from /sys/devices/system/cpu/isolated: No such file or directory"}},
        Defect{
            "IsolatedEmptyLine", kIsolated, "\n", kCubeWithoutRealTime, {"error QM: No isolated CPUs found"}},
        Defect{"IsolatedEmpty", kIsolated, "", kCubeWithoutRealTime, {"error QM: No isolated CPUs found"}},
        Defect{"IsolatedWithoutLineBreak", kIsolated, "1,3-5", withIsolated("1,3-5"), {}},
        Defect{"IsolatedOfTwoLines", kIsolated, " 1\n2\n", withIsolated(" 1"), {}},
        Defect{"RtCpusMissing", kRtCpus, {}, kCubeWithoutRealTime, notOpened(kRtCpus)},
        Defect{"RtCpusRefusing", kRtCpus, "full", without(kWholeRunOfACube, "rt_cpus"), notWritten(kRtCpus)},
        Defect{"HrtimerMissing",
               kHrtimer,
               {},
               {"gpe0F: disable\n", "led_pulse_period: 3000\n", "rt_cpus: \n", "gpe0F: enable\n",
                "led_pulse_period: 0\n"},
               notOpened(kHrtimer)},
        Defect{"LedMissing", kLed, {}, without(kWholeRunOfACube, "led"), {}},
        Defect{"LedRefusing", kLed, "full", without(kWholeRunOfACube, "led"), {}},
        Defect{"GpeMissing", kGpe, {}, without(kWholeRunOfACube, "gpe"), twice(notOpened(kGpe).front())},
        Defect{"GpeRefusing", kGpe, "full", without(kWholeRunOfACube, "gpe"), notWritten(kGpe)}),
    [](const auto& row) { return row.param.name; });

TEST_F(RtMode, ASecondRunOfTheSameServiceStartsAfresh)
{
    const auto descriptors = openDescriptors();
    EXPECT_EQ(kWholeRunOfACube, run());
    sandbox::writeFile(kIsolated, "1\n");
    EXPECT_EQ(withIsolated("1"), run());
    EXPECT_EQ(descriptors.size() + 2, openDescriptors().size());
    pretended = Ridge;
    EXPECT_EQ(kLedOnly, run());
    EXPECT_EQ(descriptors, openDescriptors());
    EXPECT_THAT(log_.linesFrom("info"), IsEmpty());
}

}  // namespace

}  // namespace qm::test
