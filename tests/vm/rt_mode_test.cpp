// Real-time mode of a machine that takes itself for a target, with the kernel's own control files.

#include "faults.hpp"
#include "log_capture.hpp"
#include "modules/kernel.hpp"
#include <qm.h>
#include <slrealtime/Standalone.hpp>

#include <gmock/gmock.h>
#include <sys/mount.h>

#include <array>
#include <fstream>

namespace {

using qm::test::contentOf;
using qm::test::LogCapture;
using qm::test::writeOnce;
using slrealtime::TimingMode;
using slrealtime::TriggerMode;
using testing::ElementsAre;

constexpr char kRtCpus[] = "/sys/kernel/qm/rt_cpus";
constexpr char kHrtimer[] = "/sys/kernel/qm/disable_hrtimer";
// The emulated chipset has nobody who handles this event, so the kernel lets nobody disable or enable it.
constexpr char kEventRefused[] =
    "error QM: failed to write to /sys/firmware/acpi/interrupts/gpe0F: Invalid argument";
constexpr char kLed[] = "/sys/devices/platform/kite/mcu/led_pulse_period";

/// Gives a function other identifiers, for this process only.
void disguise(const std::string& address, uint16_t vendor, uint16_t device)
{
    const std::string config = "/sys/bus/pci/devices/" + address + "/config";
    const std::string copy = "/run/config-" + address;
    std::string content = contentOf(config);
    const std::array<uint16_t, 2> ids{vendor, device};
    content.replace(0, sizeof ids, reinterpret_cast<const char*>(ids.data()), sizeof ids);
    std::ofstream(copy, std::ios::binary) << content;
    ASSERT_EQ(0, ::mount(copy.c_str(), config.c_str(), nullptr, MS_BIND, nullptr)) << config;
}

struct Model
{
    const char* name;
    TriggerMode trigger;
    TimingMode mode;
    const char* hrtimer;
    const char* otherHrtimer;
};

class RealTimeMode : public testing::TestWithParam<Model>
{
protected:
    void SetUp() override
    {
        disguise("0000:00:13.1", 0x8086, 0x5AD9);
        disguise("0000:02:00.0", 0x8086, 0x157B);
        ASSERT_EQ(Cube, qm_getTargetType());
        ASSERT_EQ("1\n", contentOf("/sys/devices/system/cpu/isolated"));
        slrealtime::TaskInfo baseRate;
        baseRate.trigmode_ = GetParam().trigger;
        baseRate.mode_ = GetParam().mode;
        slrealtime::ModelInfo model;
        model.tasks_ = {baseRate};
        slrealtime::standalone::setModelInfo(model);
    }

    std::unique_ptr<slrealtime::Worker> service_ = slrealtime::standalone::createWorker("QuillmarkRTService");
};

TEST_P(RealTimeMode, IsEnteredAtStartAndLeftAtStop)
{
    const Model& model = GetParam();
    ASSERT_EQ(0, writeOnce(kHrtimer, model.otherHrtimer));
    ASSERT_EQ(0, writeOnce(kRtCpus, "\n"));

    const LogCapture log;
    service_->initialize();
    EXPECT_EQ("\n", contentOf(kRtCpus));
    EXPECT_EQ(model.otherHrtimer, contentOf(kHrtimer));
    service_->start();
    EXPECT_EQ("1\n", contentOf(kRtCpus));
    EXPECT_EQ(model.hrtimer, contentOf(kHrtimer));
    EXPECT_EQ("3000\n", contentOf(kLed));
    service_->stop();
    EXPECT_EQ("\n", contentOf(kRtCpus));
    EXPECT_EQ(model.hrtimer, contentOf(kHrtimer));
    EXPECT_EQ("0\n", contentOf(kLed));
    EXPECT_THAT(log.linesFrom("info"), ElementsAre(kEventRefused, kEventRefused));
}

TEST_P(RealTimeMode, IsMissedAndReportedOnAKernelWithoutIt)
{
    const qm::test::WithoutModule control("qm_rt_control");
    const LogCapture log;
    service_->initialize();
    service_->start();
    service_->stop();
    EXPECT_THAT(log.linesFrom("info"),
                ElementsAre(kEventRefused,
                            "error QM: failed to open /sys/kernel/qm/rt_cpus for writing: "
                            "No such file or directory",
                            kEventRefused));
}

INSTANTIATE_TEST_SUITE_P(
    Of, RealTimeMode,
    testing::Values(Model{"ATimerModel", TriggerMode::TIMER, TimingMode::PERIODIC, "0\n", "1\n"},
                    Model{"AnInterruptModel", TriggerMode::INTERRUPT, TimingMode::ASYNCHRONOUS, "1\n", "0\n"},
                    Model{"APollingModel", TriggerMode::POLLING, TimingMode::PERIODIC, "1\n", "0\n"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
