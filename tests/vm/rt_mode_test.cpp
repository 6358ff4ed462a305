// Real-time mode of a machine that takes itself for a target, with the kernel's own control files.

#include "log_capture.hpp"
#include "machine.hpp"
#include <slrealtime/Standalone.hpp>

#include <gmock/gmock.h>

namespace {

using qm::test::contentOf;
using qm::test::writeOnce;
using slrealtime::TimingMode;
using slrealtime::TriggerMode;

constexpr char kRtCpus[] = "/sys/kernel/qm/rt_cpus";
constexpr char kHrtimer[] = "/sys/kernel/qm/disable_hrtimer";
// The emulated chipset has nobody who handles this event, so the kernel lets nobody disable or enable it.
constexpr char kEventRefused[] =
    "error QM: failed to write to /sys/firmware/acpi/interrupts/gpe0F: Invalid argument";
constexpr char kLed[] = "/sys/devices/platform/kite/mcu/led_pulse_period";

struct Model
{
    TriggerMode trigger;
    TimingMode mode;
    const char* hrtimer;
    const char* otherHrtimer;
};

TEST(RealTimeMode, IsEnteredAtStartAndLeftAtStop)
{
    qm::test::disguise("00:13.1", 0x8086, 0x5AD9);
    qm::test::disguise("02:00.0", 0x8086, 0x157B);
    ASSERT_EQ(Cube, qm_getTargetType());
    ASSERT_EQ("1\n", contentOf("/sys/devices/system/cpu/isolated"));

    for (const Model& model : {Model{TriggerMode::TIMER, TimingMode::PERIODIC, "0\n", "1\n"},
                               Model{TriggerMode::INTERRUPT, TimingMode::ASYNCHRONOUS, "1\n", "0\n"},
                               Model{TriggerMode::POLLING, TimingMode::PERIODIC, "1\n", "0\n"}}) {
        SCOPED_TRACE(static_cast<int>(model.trigger));
        slrealtime::TaskInfo baseRate;
        baseRate.trigmode_ = model.trigger;
        baseRate.mode_ = model.mode;
        slrealtime::ModelInfo info;
        info.tasks_ = {baseRate};
        slrealtime::standalone::setModelInfo(info);
        const auto service = slrealtime::standalone::createWorker("QuillmarkRTService");
        ASSERT_EQ(0, writeOnce(kHrtimer, model.otherHrtimer));
        ASSERT_EQ(0, writeOnce(kRtCpus, "\n"));

        const qm::test::LogCapture log;
        service->initialize();
        EXPECT_EQ("\n", contentOf(kRtCpus));
        EXPECT_EQ(model.otherHrtimer, contentOf(kHrtimer));
        service->start();
        EXPECT_EQ("1\n", contentOf(kRtCpus));
        EXPECT_EQ(model.hrtimer, contentOf(kHrtimer));
        EXPECT_EQ("3000\n", contentOf(kLed));
        service->stop();
        EXPECT_EQ("\n", contentOf(kRtCpus));
        EXPECT_EQ(model.hrtimer, contentOf(kHrtimer));
        EXPECT_EQ("0\n", contentOf(kLed));
        EXPECT_THAT(log.notes(), testing::ElementsAre(kEventRefused, kEventRefused));
    }
}

}  // namespace
