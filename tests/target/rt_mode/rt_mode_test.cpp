#include "fake_kernel.hpp"
#include <slrealtime/Standalone.hpp>

#include <set>

namespace {

qm_TargetType pretended = Cube;

}  // namespace

// The service under test asks this one.
INTERPOSED qm_TargetType qm_getTargetType()
{
    return pretended;
}

namespace {

using namespace qm::test;

using slrealtime::TimingMode;
using slrealtime::TriggerMode;

const std::string kIsolated = "/sys/devices/system/cpu/isolated";
const std::string kRtCpus = "/sys/kernel/qm/rt_cpus";
const std::string kHrtimer = "/sys/kernel/qm/disable_hrtimer";
const std::string kLed = "/sys/devices/platform/kite/mcu/led_pulse_period";
const std::string kGpe = "/sys/firmware/acpi/interrupts/gpe0F";

const Lines kWholeRun = {
    "gpe0F: disable\n", "led_pulse_period: 3000\n", "disable_hrtimer: 0\n", "rt_cpus: 2-3\n",
    "rt_cpus: \n",      "gpe0F: enable\n",          "led_pulse_period: 0\n"};

/** A whole run without its writes to these files, by their first four letters. */
Lines without(const std::string& files)
{
    Lines lines = kWholeRun;
    std::erase_if(lines,
                  [&](const auto& line) { return files.find(line.substr(0, 4)) != std::string::npos; });
    return lines;
}

Lines wholeRunBut(size_t at, const std::string& line)
{
    Lines lines = kWholeRun;
    lines.at(at) = line;
    return lines;
}

/** A target with all the files that a run touches; a Cube unless another one is pretended. */
struct RtMode : TargetTest
{
    RtMode()
    {
        sandbox::freshDirectory("/sys");
        furnish();
        setModel(TriggerMode::TIMER, TimingMode::PERIODIC);
    }

    void TearDown() override
    {
        service_.reset();
        TargetTest::TearDown();
    }

    void furnish()
    {
        for (const std::string& file : {kIsolated, kRtCpus, kHrtimer, kLed, kGpe}) {
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

    /** The mark of a model that is built for polling, not there yet. */
    static fs::path pollingMark()
    {
        const std::string program = fs::read_symlink("/proc/self/exe");
        const fs::path modelDir = program.substr(0, program.find("/bin/"));
        sandbox::freshDirectory(modelDir);
        return modelDir / "isPollingMode";
    }

    /** One run of the service; every write below /sys as "file: bytes". */
    Lines run()
    {
        kernel.writes.clear();
        service_->initialize();
        service_->start();
        service_->stop();
        Lines writes;
        for (const auto& [file, offset, bytes] : kernel.writes)
            writes.push_back(fs::path(file).filename().string() + ": " + bytes);
        return writes;
    }

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
        const bool enters = realTime.contains(type);
        const char* const untouched = enters ? "gpe0" : "gpe0 rt_c disa";
        EXPECT_EQ(without(type == Cube ? "" : untouched), run());
        EXPECT_EQ(enters ? 3U : 0U, log_.lines().size());
        service_.reset();
        EXPECT_EQ(descriptors_, openDescriptors());
    }
}

TEST_F(RtMode, TheHrtimerIsKeptForAPeriodicTimerThatIsNotBuiltForPolling)
{
    const fs::path mark = pollingMark();
    using enum TriggerMode;
    using enum TimingMode;
    for (const auto& [trigger, mode, words] :
         {std::tuple<TriggerMode, TimingMode, std::string>{TIMER, PERIODIC, "periodic timer trigger"},
          {INTERRUPT, PERIODIC, "periodic interrupt trigger, disabling HRTIMER"},
          {TIMER, ASYNCHRONOUS, "asynchronous timer trigger, disabling HRTIMER"},
          {POLLING, PERIODIC, "periodic polling trigger, disabling HRTIMER"},
          {TriggerMode{7}, ASYNCHRONOUS, "asynchronous polling trigger, disabling HRTIMER"},
          {TIMER, PERIODIC, "periodic timer trigger in polling mode, disabling HRTIMER"}}) {
        SCOPED_TRACE(words);
        furnish();
        setModel(trigger, mode);
        Lines log = {"debug QM: Found Quillmark Linux RT Kernel with isolated CPU(s): 2-3",
                     "debug QM: Entering RT mode using " + words, "debug QM: Leaving RT mode"};
        if (words.find("polling mode") != std::string::npos) {
            fs::create_directory(mark);
            log.insert(log.begin(), "debug QM: Polling mode indicated by model build");
        }
        const bool isKept = words == "periodic timer trigger";
        EXPECT_EQ(wholeRunBut(2, isKept ? "disable_hrtimer: 0\n" : "disable_hrtimer: 1\n"), run());
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
    const Lines never = without("rt_c disa");
    for (const auto& [file, content, writes, log] :
         {std::tuple<std::string, std::string, Lines, Lines>{
              kIsolated,
              "missing",
              never,
              {"error QM: failed to read from " + kIsolated + ": No such file or directory"}},
          {kIsolated, "\n", never, {"error QM: No isolated CPUs found"}},
          {kIsolated, " 1,3\n2", wholeRunBut(3, "rt_cpus:  1,3\n"), {}},
          {kRtCpus, "missing", never, {notOpened(kRtCpus)}},
          {kRtCpus, "full", without("rt_c"), {notWritten(kRtCpus), notWritten(kRtCpus)}},
          {kHrtimer,
           "missing",
           {kWholeRun[0], kWholeRun[1], kWholeRun[4], kWholeRun[5], kWholeRun[6]},
           {notOpened(kHrtimer)}},
          {kLed, "full", without("led_"), {}},
          {kGpe, "missing", without("gpe0"), {notOpened(kGpe), notOpened(kGpe)}},
          {kGpe, "full", without("gpe0"), {notWritten(kGpe), notWritten(kGpe)}}}) {
        SCOPED_TRACE(file + " " + content);  // "missing" or "full", which takes no value
        furnish();
        fs::remove(file);
        if (content == "full")
            fs::create_symlink("/dev/full", file);
        else if (content != "missing")
            sandbox::writeFile(file, content);
        EXPECT_EQ(writes, run());
        EXPECT_EQ(log, log_.notes());
        EXPECT_EQ(content != "missing", fs::exists(file)) << "no file is made";
    }
}

TEST_F(RtMode, ASecondRunOfTheSameServiceStartsAfresh)
{
    const fs::path mark = pollingMark();
    sandbox::writeFile(mark, "");
    EXPECT_EQ(wholeRunBut(2, "disable_hrtimer: 1\n"), run());
    fs::remove(mark);
    sandbox::writeFile(kIsolated, "1\n");
    EXPECT_EQ(wholeRunBut(3, "rt_cpus: 1\n"), run());
    EXPECT_EQ(descriptors_.size() + 2, openDescriptors().size());
    pretended = Ridge;
    EXPECT_EQ(without("gpe0 rt_c disa"), run());
    EXPECT_EQ(descriptors_, openDescriptors());
}

}  // namespace
