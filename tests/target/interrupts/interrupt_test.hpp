#ifndef QM_TEST_INTERRUPT_TEST_HPP
#define QM_TEST_INTERRUPT_TEST_HPP

#include "fake_kernel.hpp"
#include "target_test.hpp"
#include "world.hpp"

#include <sys/mount.h>

#include <cstring>

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
class InterruptTest : public TargetTest
{
public:
    InterruptTest()
    {
        std::filesystem::create_directory("/sys/host_proc");
        EXPECT_EQ(0, mount("/proc", "/sys/host_proc", nullptr, MS_BIND | MS_REC, nullptr));
        sandbox::freshDirectory("/proc");
        for (const auto& self : {std::string("self"), std::to_string(getpid())})
            std::filesystem::create_symlink("/sys/host_proc/" + self, "/proc/" + self);
        sandbox::freshDirectory("/dev");
        world_.add(board(0x1234, 0x11E8).at(0x1a, 0x1f).word(4, 0x0300));
        for (const auto& path : {kUioDriver + "new_id", kUioDriver + "bind", kUnbind, kNode})
            sandbox::writeFile(path, "");
        sandbox::writeFile(kUio + "name", "edu\n");
        sandbox::writeFile(kUio + "device/irq", "16\n");
        sandbox::writeFile(kAffinity, "0-2\n");
        sandbox::writeFile("/sys/devices/system/cpu/possible", "0-2\n");
        sandbox::writeFile("/proc/4711/comm", "irq/16-edu\n");
        std::filesystem::create_directory_symlink("../../drivers/other", kBoard + "driver");
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

    static void giveUioDevice() { std::filesystem::create_directories(kBoard + "uio/uio7"); }

protected:
    World world_;
    qm_InterruptContext* context_ = nullptr;
};

}  // namespace qm::test

#endif
