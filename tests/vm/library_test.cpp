// The library on a real kernel's boards: registers, configuration, drivers.

#include "machine.hpp"

#include <fmt/core.h>
#include <gmock/gmock.h>

#include <array>
#include <fstream>

namespace {

using qm::test::driverOf;
using qm::test::findBoard;
using qm::test::linesOf;

constexpr char kBoardAddress[] = "00:03.0";
constexpr char kCardAddress[] = "01:00.0";
constexpr char kCardDriver[] = "e1000e";
constexpr char kSmallAddress[] = "00:05.0";  // a USB controller with a BAR of 256 bytes

std::string enableCount(const std::string& address)
{
    std::string count;
    std::ifstream("/sys/bus/pci/devices/0000:" + address + "/enable") >> count;
    return count;
}

TEST(Board, IsFoundWithTheResourcesThatTheKernelLists)
{
    const qm_PCIDevice board = findBoard(0x1234, 0x11E8);
    EXPECT_EQ(kBoardAddress, qm::test::address(board.bus, board.slot));
    const auto memory =
        linesOf(fmt::format("lspci -v -s {} | grep -o 'Memory at [0-9a-f]*.*size=1M'", kBoardAddress));
    ASSERT_EQ(1U, memory.size());
    EXPECT_THAT(memory[0], testing::StartsWith(fmt::format("Memory at {:x} ", board.BaseAddress[0])));
    EXPECT_EQ(1U << 20, board.Length[0]);
}

TEST(Board, AnswersThroughItsMappedRegistersAsDocumented)
{
    qm_PCIDevice board = findBoard(0x1234, 0x11E8);
    EXPECT_EQ("0", enableCount(kBoardAddress));
    auto* const registers = static_cast<volatile uint32_t*>(qm_mapMemory(&board, 0));
    ASSERT_NE(nullptr, registers);
    EXPECT_EQ("1", enableCount(kBoardAddress));

    EXPECT_EQ(0x010000EDU, registers[0x00 / 4]);  // identification: version 1.0
    registers[0x04 / 4] = 0x12345678;
    EXPECT_EQ(~0x12345678U, registers[0x04 / 4]);
    registers[0x08 / 4] = 10;
    while ((registers[0x20 / 4] & 1U) != 0) {
    }
    EXPECT_EQ(3628800U, registers[0x08 / 4]);
}

TEST(Board, GetsItsConfigurationBackAfterItWasWiped)
{
    qm_PCIDevice board = findBoard(0x1234, 0x11E8);
    const std::string dump = fmt::format("lspci -xxx -s {}", kBoardAddress);
    ASSERT_NE(nullptr, qm_mapMemory(&board, 0));
    const auto before = linesOf(dump);
    std::array<uint32_t, QM_PCI_CONFIG_SAVE_WORDS> saved{};
    qmPCI_backupPCIConfig(&board, saved.data());

    linesOf(fmt::format("setpci -s {} COMMAND=0 BASE_ADDRESS_0=0 INTERRUPT_LINE=0", kBoardAddress));
    ASSERT_NE(before, linesOf(dump));
    qmPCI_restorePCIConfig(&board, saved.data());

    EXPECT_EQ(before, linesOf(dump));
}

TEST(SmallBar, InsideAPageIsReachedThroughTheMachinesMemory)
{
    qm_PCIDevice controller = findBoard(0x106B, 0x003F);
    ASSERT_EQ(0, qm_pci_unbindDriver(&controller));
    controller.BaseAddress[0] += 0x800;
    controller.BaseAddress_raw[0] += 0x800;
    linesOf(fmt::format("setpci -s {} BASE_ADDRESS_0={:x}", kSmallAddress, controller.BaseAddress[0]));
    auto* const registers = static_cast<volatile uint32_t*>(qm_mapMemory(&controller, 0));
    ASSERT_NE(nullptr, registers);
    EXPECT_EQ(0x10U, registers[0] & 0xFFU);  // HcRevision: OHCI 1.0
    EXPECT_EQ(0x800U, controller.VirtAddress[0] % 4096);
}

TEST(Driver, IsTakenAwayAndGivenBack)
{
    qm_PCIDevice board = findBoard(0x8086, 0x10D3);
    ASSERT_EQ(kCardDriver, driverOf(kCardAddress));
    EXPECT_EQ(0, qm_pci_unbindDriver(&board));
    EXPECT_EQ("", driverOf(kCardAddress));
    EXPECT_EQ(0, qm_pci_unbindDriver(&board));  // nothing bound
    EXPECT_EQ(0, qm_pci_bindDriver(&board, kCardDriver));
    EXPECT_EQ(kCardDriver, driverOf(kCardAddress));
}

TEST(Driver, ThatDoesNotFitIsRefusedUnseenAndTheKernelFindsTheRightOne)
{
    qm_PCIDevice board = findBoard(0x8086, 0x10D3);
    EXPECT_EQ(0, qm_pci_bindDriver(&board, "pcieport"));  // the kernel says no when the address is flushed
    EXPECT_EQ("", driverOf(kCardAddress));
    EXPECT_EQ(-1, qm_pci_bindDriver(&board, "no_such_driver"));
    EXPECT_EQ(0, qm_pci_probeDriver(&board));
    EXPECT_EQ(kCardDriver, driverOf(kCardAddress));
}

}  // namespace
