// The library on a real kernel's boards: registers, configuration, drivers, and the topology against lspci's
// and the kernel's view of the same machine.

#include "machine.hpp"

#include <fmt/core.h>
#include <gmock/gmock.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <vector>

namespace {

using qm::test::address;
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
    EXPECT_EQ(kBoardAddress, address(board.bus, board.slot));
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

std::string addressOf(const qm_topo_node& node)
{
    return address(node.bus, node.slot, node.func);
}

/// All nodes of the machine, bridges before what hangs behind them.
class Topology : public testing::Test
{
protected:
    void SetUp() override
    {
        qm_topo_node* root = nullptr;
        const int count = qm_getPciTopology(&root);
        ASSERT_GT(count, 0);
        collect(root, static_cast<uint32_t>(count));
    }

    std::vector<const qm_topo_node*> nodes_;

private:
    void collect(const qm_topo_node* nodes, uint32_t count)
    {
        for (const qm_topo_node& node : std::span(nodes, count)) {
            nodes_.push_back(&node);
            if (node.headerType != QM_TOPO_PCI_BRIDGE) continue;
            const auto* const bridge = reinterpret_cast<const _qm_topo_bridge*>(node.customData);
            collect(bridge->children, bridge->nChildren);
        }
    }
};

TEST_F(Topology, HoldsTheFunctionsThatLspciLists)
{
    std::vector<std::string> ours;
    for (const qm_topo_node* node : nodes_)
        ours.push_back(fmt::format("{} {:04x}: {:04x}:{:04x}", addressOf(*node), node->classcode >> 8,
                                   node->VID, node->DID));
    // "00:03.0 00ff: 1234:11e8 (rev 10)"
    EXPECT_THAT(ours,
                testing::UnorderedElementsAreArray(linesOf("lspci -n | sed -E 's/ \\((rev|prog-if) .*//'")));
}

TEST_F(Topology, PutsEachFunctionBehindTheBridgeOfTheKernelsTree)
{
    int behindBridges = 0;
    for (const qm_topo_node* node : nodes_) {
        const auto inTree = std::filesystem::canonical("/sys/bus/pci/devices/0000:" + addressOf(*node));
        const std::string parent = inTree.parent_path().filename();
        EXPECT_EQ(node->parent == nullptr ? "pci0000:00" : "0000:" + addressOf(*node->parent), parent)
            << addressOf(*node);
        behindBridges += node->parent != nullptr ? 1 : 0;
    }
    EXPECT_GE(behindBridges, 4);  // two cards, two nested bridges
}

TEST_F(Topology, ReadsTheExpressCapabilityThatLspciReads)
{
    int express = 0;
    for (const qm_topo_node* node : nodes_) {
        // "Capabilities: [e0] Express (v2) Endpoint", then "LnkCap: Port #0, Speed 2.5GT/s, Width x1, ..."
        const auto lines = linesOf(
            "lspci -vv -s " + addressOf(*node) +
            " | sed -nE 's/.*Express \\(v([0-9])\\).*/PCIe\\1/p; s/.*LnkCap:.*Width (x[0-9]+).*/\\1/p'");
        std::string expected = "PCI";
        if (!lines.empty()) expected = lines.at(0) + " " + (lines.size() > 1 ? lines[1] : "x0");
        EXPECT_EQ(expected, node->interfaceType) << addressOf(*node);
        express += lines.empty() ? 0 : 1;
    }
    EXPECT_GE(express, 4);  // three root ports and a card
}

}  // namespace
