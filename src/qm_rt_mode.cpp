#include "qm_common/control_file.hpp"
#include "qm_common/text_file.hpp"
#include "qm_root.hpp"
#include <qm/log.h>
#include <qm/paths.h>
#include <qm/target.h>
#include <slrealtime/ModelInfo.hpp>
#include <slrealtime/Worker.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>

namespace slrealtime {

namespace {

constexpr char kServiceName[] = "QuillmarkRTService";
constexpr char kIsolatedFile[] = "/sys/devices/system/cpu/isolated";
constexpr char kRtCpusFile[] = "/sys/kernel/qm/rt_cpus";
constexpr char kDisableHrtimerFile[] = "/sys/kernel/qm/disable_hrtimer";
constexpr char kLedFile[] = "/sys/devices/platform/kite/mcu/led_pulse_period";
constexpr char kGpeFile[] = "/sys/firmware/acpi/interrupts/gpe0F";
constexpr char kPollingMark[] = "isPollingMode";
constexpr uint32_t kBaseDirSize = 128;
constexpr unsigned short kLedPeriodOfARun = 3000;

/// Deliberate: exactly these models enter real-time mode.
constexpr std::array kRealTimeTargets = {KR410,  KR411, Lowland, Lowland_TopLayer, RoverV2, Cube, RoverV3,
                                         Zenith, Brisa, Otter};

bool hasRealTimeMode(qm_TargetType target)
{
    return std::find(kRealTimeTargets.begin(), kRealTimeTargets.end(), target) != kRealTimeTargets.end();
}

bool isBuiltForPolling()
{
    std::array<char, kBaseDirSize> baseDir{};
    if (qm_getModelBaseDir(baseDir.data(), baseDir.size()) != 0) return false;
    std::array<char, kBaseDirSize + sizeof kPollingMark> mark{};
    qm_fullFile(2, mark.data(), baseDir.data(), kPollingMark);
    return !qm_doesFsNodeExist(mark.data());  // the function's sense is the opposite of its name
}

qm::ControlFile openControl(const char* path)
{
    qm::ControlFile file(path);
    if (!file.isOpen())
        qm_printf(qm_error, "failed to open %s for writing: %s\n", path, std::strerror(errno));
    return file;
}

void logFailedWrite(const char* path)
{
    qm_printf(qm_error, "failed to write to %s: %s\n", path, std::strerror(errno));
}

void writeControl(const qm::ControlFile& file, const char* path, const std::string& value)
{
    if (!file.writeLine(value)) logFailedWrite(path);
}

/// Needs the caller's root scope: on some platforms an inner one would end it.
void writeGpe0FState(const char* state)
{
    const qm::ControlFile file = openControl(kGpeFile);
    if (!file.isOpen()) return;
    if (state != nullptr) return writeControl(file, kGpeFile, state);
    errno = EINVAL;
    logFailedWrite(kGpeFile);
}

const char* triggerWord(TriggerMode trigger)
{
    if (trigger == TriggerMode::TIMER) return "timer";
    return trigger == TriggerMode::INTERRUPT ? "interrupt" : "polling";
}

}  // namespace

/// Puts the isolated CPUs under the real-time kernel's control for the time of a run.
class QuillmarkRTService : public Worker
{
public:
    static std::unique_ptr<Worker> create() { return std::make_unique<QuillmarkRTService>(); }

    void initialize() override;
    void start() override;
    void stop() override;

    static void setGpe0FState(const char* state);
    static void setLedPulsePeriod(unsigned short period);
    // Deliberate: declared and nothing more; the event is masked by setGpe0FState().
    void disableAcpiInterrupts();
    void enableAcpiInterrupts();

private:
    bool readIsolatedCpus();

    qm::ControlFile os_rt_cpus_;
    qm::ControlFile os_dis_hrtimer_;
    std::string rt_cpus_;
    bool pollingMode_ = false;

    static const bool registrar_;
};

const bool QuillmarkRTService::registrar_ =
    (Worker::doRegister(kServiceName, &QuillmarkRTService::create), true);

void QuillmarkRTService::initialize()
{
    const qm::RootScope root;
    os_rt_cpus_ = {};
    os_dis_hrtimer_ = {};
    pollingMode_ = false;

    const qm_TargetType target = qm_getTargetType();
    if (target == Cube) writeGpe0FState("disable");
    if (!hasRealTimeMode(target)) return;
    if (isBuiltForPolling()) {
        qm_printf(qm_debug, "Polling mode indicated by model build\n");
        pollingMode_ = true;
    }
    if (!readIsolatedCpus()) return;
    os_rt_cpus_ = openControl(kRtCpusFile);
    if (!os_rt_cpus_.isOpen()) return;
    os_dis_hrtimer_ = openControl(kDisableHrtimerFile);
    if (!os_dis_hrtimer_.isOpen()) return;
    qm_printf(qm_debug, "Found Quillmark Linux RT Kernel with isolated CPU(s): %s\n", rt_cpus_.c_str());
}

void QuillmarkRTService::start()
{
    setLedPulsePeriod(kLedPeriodOfARun);
    if (!os_rt_cpus_.isOpen() || !os_dis_hrtimer_.isOpen()) return;

    // A copy: a host platform may hand out a temporary.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const ModelInfo model = getModelInstanceModelInfo();
    const TaskInfo& baseRate = model.tasks_.front();
    const TriggerMode trigger = baseRate.trigmode_;
    const bool isPeriodic = baseRate.mode_ == TimingMode::PERIODIC;
    const bool isTimerDriven = trigger == TriggerMode::TIMER && isPeriodic && !pollingMode_;
    qm_printf(qm_debug, "Entering RT mode using %s %s trigger%s%s\n",
              isPeriodic ? "periodic" : "asynchronous", triggerWord(trigger),
              pollingMode_ ? " in polling mode" : "", isTimerDriven ? "" : ", disabling HRTIMER");
    writeControl(os_dis_hrtimer_, kDisableHrtimerFile, isTimerDriven ? "0" : "1");
    // Last: from here on the isolated CPUs are under the real-time kernel's control.
    writeControl(os_rt_cpus_, kRtCpusFile, rt_cpus_);
}

void QuillmarkRTService::stop()
{
    // Deliberate: the HRTIMER decision stays until the next start, and the files stay open.
    if (os_rt_cpus_.isOpen()) {
        writeControl(os_rt_cpus_, kRtCpusFile, "");
        qm_printf(qm_debug, "Leaving RT mode\n");
    }
    if (qm_getTargetType() == Cube) setGpe0FState("enable");
    setLedPulsePeriod(0);
}

void QuillmarkRTService::setGpe0FState(const char* state)
{
    const qm::RootScope root;
    writeGpe0FState(state);
}

void QuillmarkRTService::setLedPulsePeriod(unsigned short period)
{
    const qm::RootScope root;
    const qm::ControlFile file(kLedFile);
    if (file.isOpen()) (void)file.writeLine(std::to_string(period));
}

bool QuillmarkRTService::readIsolatedCpus()
{
    const auto cpus = qm::readFirstLine(kIsolatedFile);
    if (!cpus) {
        qm_printf(qm_error, "failed to read from %s: %s\n", kIsolatedFile, std::strerror(errno));
        return false;
    }
    rt_cpus_ = *cpus;
    if (rt_cpus_.empty()) qm_printf(qm_error, "No isolated CPUs found\n");
    return !rt_cpus_.empty();
}

}  // namespace slrealtime
