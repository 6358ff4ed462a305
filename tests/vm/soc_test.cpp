// What a System-on-Chip's drivers use, on a PCI board's UIO device; and the processor's temperature.

#include "attached_board.hpp"
#include "machine.hpp"
#include "qm_target/cpuid.hpp"

/// The temperature is built in and asks here for the processor, which has the registers and both sensors.
qm::CpuidLeaf qm::cpuid(uint32_t leaf)
{
    return leaf == 1 ? CpuidLeaf{0, 1U << 5} : CpuidLeaf{0x41, 0};
}

namespace {

using namespace qm::test;

constexpr char kName[] = "qm00030";  // of the example board's UIO device and of its interrupt handler

TEST(UioDevice, IsFoundByItsNameAndItsRegistersAreMapped)
{
    const AttachedBoard board;
    qm_AxiDevice device{};
    ASSERT_EQ(0, qm_findAxiDevice(&device, kName)) << pQmErrorStr;
    EXPECT_EQ(board.context()->uioIndex, device.uioIndex);
    auto* const registers = static_cast<volatile uint32_t*>(qm_mapAxiBar(&device, 0));
    ASSERT_NE(nullptr, registers) << pQmErrorStr;
    EXPECT_EQ(0x010000EDU, registers[0]);  // identification
    registers[1] = 0x12345678;
    EXPECT_EQ(~0x12345678U, board.word(4));
    EXPECT_EQ(nullptr, qm_mapAxiBar(&device, 1));
    EXPECT_STREQ("Could not find /sys/class/uio/uio0/maps/map1/addr", pQmErrorStr);
}

TEST(UioDevice, HasItsInterruptWhereItWasAskedForUntilThatIsCpu1)
{
    const AttachedBoard board;
    for (const auto& [cpu, affinity] : {std::pair{0, "0\n"}, {1, "1\n"}, {0, "1\n"}}) {
        EXPECT_EQ(0, qm_setAxiIrqAffinity(kName, cpu)) << pQmErrorStr;
        EXPECT_EQ(affinity, board.affinity());
    }
}

TEST(Temperature, IsRefusedAtEveryCallByAProcessorWithoutASensor)
{
    auto* const shipped = reinterpret_cast<int (*)()>(::dlsym(RTLD_NEXT, "qm_getCpuTemperature"));
    ASSERT_NE(nullptr, shipped);
    linesOf("modprobe msr");
    const LogCapture log;
    EXPECT_EQ(-1, shipped());
    EXPECT_EQ(-1, shipped());
    const std::string refusal = "error QM: CPU temperature readout not supported";
    EXPECT_THAT(log.lines(), ElementsAre(refusal, refusal));
}

TEST(Temperature, ComesFromTheKernelsRegisterDeviceOnceItIsThere)
{
    const LogCapture log;
    linesOf("modprobe -r msr; udevadm settle");
    EXPECT_EQ(-1, qm_getCpuTemperature());
    EXPECT_THAT(log.lines(), ElementsAre("error QM: /dev/cpu/0/msr doesn't exist."));
    linesOf("modprobe msr; udevadm settle");
    EXPECT_EQ(100, qm_getCpuTemperature());  // the emulated register reads 0 degrees below
}

}  // namespace
