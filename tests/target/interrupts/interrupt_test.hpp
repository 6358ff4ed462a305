#pragma once

#include "fake_kernel.hpp"
#include "test.hpp"
#include "world.hpp"

namespace qm::test {

inline const std::string kBoard = "/sys/bus/pci/devices/0000:1a:1f.0/";
inline const std::string kUnbind = "/sys/bus/pci/drivers/other/unbind";
inline const std::string kUioDriver = "/sys/bus/pci/drivers/uio_quillmark/";
inline const std::string kUio = "/sys/class/uio/uio7/";
inline const std::string kNode = "/dev/uio7";
inline const std::string kAffinity = "/proc/irq/16/smp_affinity_list";
constexpr pid_t kThread = 4711;

/**
 * A board that the UIO driver has: its node, its interrupt 16 with the thread kThread, three CPUs. At the end
 * the context is detached.
 */
struct InterruptTest : TargetTest
{
    InterruptTest()
    {
        addUioBoard(world_);
        const std::string self = std::to_string(getpid());
        fs::create_symlink("/sys/host_proc/" + self, "/proc/" + self);
        sandbox::writeFiles({{kUnbind, ""}, {"/sys/devices/system/cpu/possible", "0-2\n"}});
        fs::create_directory_symlink("../../drivers/other", kBoard + "driver");
        giveUioDevice();

        qm_PCIDevice device{};
        device.bus = 0x1a;
        device.slot = 0x1f;
        device.VendorId = 0x1234;
        device.DeviceId = 0x11E8;
        descriptors_ = openDescriptors();
        EXPECT_EQ(0, qm_uio_createInterruptContext(&context_, &device));
        kernel.writes.clear();
        kernel.priorities[kThread] = 50;
    }

    void TearDown() override
    {
        qm_uio_interruptDetach(context_);
        TargetTest::TearDown();
    }

    static void giveUioDevice() { fs::create_directories(kBoard + "uio/uio7"); }
    World world_;
    qm_InterruptContext* context_ = nullptr;
};

}  // namespace qm::test
