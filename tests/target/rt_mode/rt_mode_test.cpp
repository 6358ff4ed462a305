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
#include <set>

namespace {

std::optional<qm_TargetType> pretended;  // some models cannot be detected, and some do not exist

}  // namespace

// The service under test asks this one.
extern "C" __attribute__((visibility("default"))) qm_TargetType qm_getTargetType()
{
    if (pretended) return *pretended;
    static auto* const original = reinterpret_cast<qm_TargetType (*)()>(dlsym(RTLD_NEXT, "qm_getTargetType"));
    return original();
}

namespace qm::test {

namespace {

namespace fs = std::filesystem;
using slrealtime::TimingMode;
using slrealtime::TriggerMode;
using Lines = std::vector<std::string>;

constexpr const char* kIsolated = "/sys/devices/system/cpu/isolated";
constexpr const char* kRtCpus = "/sys/kernel/qm/rt_cpus";
constexpr const char* kHrtimer = "/sys/kernel/qm/disable_hrtimer";
constexpr const char* kLed = "/sys/devices/platform/kite/mcu/led_pulse_period";
constexpr const char* kGpe = "/sys/firmware/acpi/interrupts/gpe0F";

const Lines kWholeRun = {
    "gpe0F: disable\n", "led_pulse_period: 3000\n", "disable_hrtimer: 0\n", "rt_cpus: 2-3\n",
    "rt_cpus: \n",      "gpe0F: enable\n",          "led_pulse_period: 0\n"};

Lines without(const Lines& all, const std::string& files)
{
    Lines lines = all;
    std::erase_if(lines,
                  [&](const auto& line) { return files.find(line.substr(0, 4)) != std::string::npos; });
    return lines;
}

Lines replaced(Lines lines, size_t at, const std::string& line)
{
    lines.at(at) = line;
    return lines;
}

/** A target with all the files that a run touches; a Cube unless another one is pretended. */
class RtMode : public testing::Test
{
protected:
    RtMode()
    {
        world_.add(board(0x8086, 0x5AD9).at(0, 19, 1).multiFunction().bridgeTo(1, 1));
        world_.add(board(0x8086, 0x157B).at(1, 0));
        furnish();
        setModel(TriggerMode::TIMER, TimingMode::PERIODIC);
    }

    void furnish()
    {
        for (const char* file : {kIsolated, kRtCpus, kHrtimer, kLed, kGpe}) {
            fs::remove(file);
            sandbox::writeFile(file, file == kIsolated ? "2-3\n" : "");
        }
        service_ = slrealtime::standalone::createWorker("QuillmarkRTService");
        log_.clear();
    }

    static void setModel(TriggerMode trigger, TimingMode mode)
    {
        slrealtime::ModelInfo model;
        model.tasks_.resize(2);
        model.tasks_[0].trigmode_ = trigger;
        model.tasks_[0].mode_ = mode;
        model.tasks_[1].trigmode_ = trigger == TriggerMode::TIMER ? TriggerMode::POLLING : TriggerMode::TIMER;
        slrealtime::standalone::setModelInfo(model);
    }

    /** The model's base directory, with nothing in it. */
    static fs::path emptyModelDir()
    {
        const std::string program = fs::read_symlink("/proc/self/exe");
        const fs::path modelDir = program.substr(0, program.find("/bin/"));
        sandbox::freshDirectory(modelDir);
        return modelDir;
    }

    /** One run of the service; every write below /sys as "file: bytes". */
    Lines run()
    {
        const KernelCalls calls;
        service_->initialize();
        service_->start();
        service_->stop();
        Lines writes;
        for (const auto& [file, offset, bytes] : calls.writes)
            writes.push_back(file + ": " + bytes);
        return writes;
    }

    World world_;
    LogCapture log_;
    std::unique_ptr<slrealtime::Worker> service_;
};

TEST_F(RtMode, TenModelsEnterItTheOthersOnlyLightTheirLed)
{
    const std::set<int> realTime = {KR410,  KR411, Lowland, Lowland_TopLayer, RoverV2, Cube, RoverV3,
                                    Zenith, Brisa, Otter};
    for (int type = KR410; type <= NonQuillmark + 1; ++type) {
        SCOPED_TRACE(type);
        pretended = static_cast<qm_TargetType>(type);
        furnish();
        const auto descriptors = openDescriptors();
        const bool enters = realTime.contains(type);
        EXPECT_EQ(without(kWholeRun, enters ? (type == Cube ? "" : "gpe0") : "gpe0 rt_c disa"), run());
        EXPECT_EQ(enters ? 3U : 0U, log_.lines().size());
        EXPECT_EQ(descriptors.size() + (enters ? 2 : 0), openDescriptors().size());
        service_.reset();
        EXPECT_EQ(descriptors, openDescriptors());
    }
}

TEST_F(RtMode, TheHrtimerIsKeptForAPeriodicTimerThatIsNotBuiltForPolling)
{
    const fs::path pollingMark = emptyModelDir() / "isPollingMode";
    using enum TriggerMode;
    using enum TimingMode;
    struct Decision
    {
        TriggerMode trigger;
        TimingMode mode;
        bool polling;
        std::string words;
    };
    for (const Decision& row :
         {Decision{TIMER, PERIODIC, false, "periodic timer trigger"},
          Decision{INTERRUPT, PERIODIC, false, "periodic interrupt trigger, disabling HRTIMER"},
          Decision{TIMER, ASYNCHRONOUS, false, "asynchronous timer trigger, disabling HRTIMER"},
          Decision{POLLING, PERIODIC, false, "periodic polling trigger, disabling HRTIMER"},
          Decision{TriggerMode{7}, ASYNCHRONOUS, false, "asynchronous polling trigger, disabling HRTIMER"},
          Decision{TIMER, PERIODIC, true, "periodic timer trigger in polling mode, disabling HRTIMER"}}) {
        SCOPED_TRACE(row.words);
        furnish();
        setModel(row.trigger, row.mode);
        if (row.polling) fs::create_directory(pollingMark);
        const bool isKept = row.words == "periodic timer trigger";
        EXPECT_EQ(replaced(kWholeRun, 2, isKept ? "disable_hrtimer: 0\n" : "disable_hrtimer: 1\n"), run());
        Lines log = {"debug QM: Polling mode indicated by model build",
                     "debug QM: Found Quillmark Linux RT Kernel with isolated CPU(s): 2-3",
                     "debug QM: Entering RT mode using " + row.words, "debug QM: Leaving RT mode"};
        if (!row.polling) log.erase(log.begin());
        EXPECT_EQ(log, log_.lines());
    }
}

TEST_F(RtMode, AFileThatIsMissingOrRefusesLeavesTheRestOfTheRunAsItIs)
{
    const auto notOpened = [](const std::string& file) {
        return "error QM: failed to open " + file + " for writing: No such file or directory";
    };
    const auto notWritten = [](const std::string& file) {
        return "error QM: failed to write to " + file + ": No space left on device";
    };
    struct Defect
    {
        const char* file;
        const char* content;  // null: missing; "full": takes no value
        Lines writes;
        Lines log;
    };
    const Lines never = without(kWholeRun, "rt_c disa");
    const std::string none = "error QM: No isolated CPUs found";
    for (const Defect& row :
         {Defect{kIsolated,
                 nullptr,
                 never,
                 {"error QM: failed to read from " + std::string(kIsolated) + ": No such file or directory"}},
          Defect{kIsolated, "\n", never, {none}}, Defect{kIsolated, "", never, {none}},
          Defect{kIsolated, " 1,3\n2", replaced(kWholeRun, 3, "rt_cpus:  1,3\n"), {}},
          Defect{kRtCpus, nullptr, never, {notOpened(kRtCpus)}},
          Defect{kRtCpus, "full", without(kWholeRun, "rt_c"), {notWritten(kRtCpus), notWritten(kRtCpus)}},
          Defect{kHrtimer, nullptr, without(replaced(kWholeRun, 3, "disa"), "disa"), {notOpened(kHrtimer)}},
          Defect{kLed, nullptr, without(kWholeRun, "led_"), {}},
          Defect{kLed, "full", without(kWholeRun, "led_"), {}},
          Defect{kGpe, nullptr, without(kWholeRun, "gpe0"), {notOpened(kGpe), notOpened(kGpe)}},
          Defect{kGpe, "full", without(kWholeRun, "gpe0"), {notWritten(kGpe), notWritten(kGpe)}}}) {
        const std::string content = row.content == nullptr ? "(missing)" : row.content;
        SCOPED_TRACE(row.file + (" " + content));
        furnish();
        fs::remove(row.file);
        if (content == "full")
            fs::create_symlink("/dev/full", row.file);
        else if (row.content != nullptr)
            sandbox::writeFile(row.file, content);
        EXPECT_EQ(row.writes, run());
        EXPECT_EQ(row.log, log_.notes());
        EXPECT_EQ(row.content != nullptr, fs::exists(row.file)) << "no file is made";
    }
}

TEST_F(RtMode, ASecondRunOfTheSameServiceStartsAfresh)
{
    const auto descriptors = openDescriptors();
    const fs::path pollingMark = emptyModelDir() / "isPollingMode";
    sandbox::writeFile(pollingMark, "");
    EXPECT_EQ(replaced(kWholeRun, 2, "disable_hrtimer: 1\n"), run());
    fs::remove(pollingMark);
    sandbox::writeFile(kIsolated, "1\n");
    EXPECT_EQ(replaced(kWholeRun, 3, "rt_cpus: 1\n"), run());
    EXPECT_EQ(descriptors.size() + 2, openDescriptors().size());
    pretended = Ridge;
    EXPECT_EQ(without(kWholeRun, "gpe0 rt_c disa"), run());
    EXPECT_EQ(descriptors, openDescriptors());
}

}  // namespace

}  // namespace qm::test
