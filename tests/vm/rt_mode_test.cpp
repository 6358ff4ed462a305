// Real-time mode of a machine that takes itself for a target, with the kernel's own control files.

#include "machine.hpp"
#include <slrealtime/Standalone.hpp>

namespace {

using namespace qm::test;

using slrealtime::TimingMode;
using slrealtime::TriggerMode;

constexpr char kRtCpus[] = "/sys/kernel/qm/rt_cpus";
constexpr char kHrtimer[] = "/sys/kernel/qm/disable_hrtimer";
// The emulated chipset has nobody who handles this event, so the kernel lets nobody disable or enable it.
constexpr char kEventRefused[] =
    "error QM: failed to write to /sys/firmware/acpi/interrupts/gpe0F: Invalid argument";
constexpr char kLed[] = "/sys/devices/platform/kite/mcu/led_pulse_period";

TEST(RealTimeMode, IsEnteredAtStartAndLeftAtStop)
{
    disguise("00:13.1", 0x8086, 0x5AD9);
    disguise("02:00.0", 0x8086, 0x157B);
    ASSERT_EQ(Cube, qm_getTargetType());
    ASSERT_EQ("1\n", readFile("/sys/devices/system/cpu/isolated"));

    for (const auto& [trigger, mode, hrtimer, other] :
         {std::tuple{TriggerMode::TIMER, TimingMode::PERIODIC, "0\n", "1\n"},
          {TriggerMode::INTERRUPT, TimingMode::ASYNCHRONOUS, "1\n", "0\n"},
          {TriggerMode::POLLING, TimingMode::PERIODIC, "1\n", "0\n"}}) {
        SCOPED_TRACE(static_cast<int>(trigger));
        slrealtime::TaskInfo baseRate;
        baseRate.trigmode_ = trigger;
        baseRate.mode_ = mode;
        slrealtime::ModelInfo info;
        info.tasks_ = {baseRate};
        slrealtime::standalone::setModelInfo(info);
        const auto service = slrealtime::standalone::createWorker("QuillmarkRTService");
        ASSERT_EQ(0, writeOnce(kHrtimer, other));
        ASSERT_EQ(0, writeOnce(kRtCpus, "\n"));

        const LogCapture log;
        service->initialize();
        EXPECT_EQ("\n", readFile(kRtCpus));
        EXPECT_EQ(other, readFile(kHrtimer));
        service->start();
        EXPECT_EQ("1\n", readFile(kRtCpus));
        EXPECT_EQ(hrtimer, readFile(kHrtimer));
        EXPECT_EQ("3000\n", readFile(kLed));
        service->stop();
        EXPECT_EQ("\n", readFile(kRtCpus));
        EXPECT_EQ(hrtimer, readFile(kHrtimer));
        EXPECT_EQ("0\n", readFile(kLed));
        EXPECT_THAT(log.notes(), ElementsAre(kEventRefused, kEventRefused));
    }
}

}  // namespace
