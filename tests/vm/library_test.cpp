// The library on a real kernel's boards: registers, configuration, drivers, and the topology against lspci's
// and the kernel's view of the same machine.

#include "machine.hpp"

#include <span>

namespace {

using namespace qm::test;

/// The only board with these identifiers; the test fails without one.
qm_PCIDevice findBoard(uint16_t vendor, uint16_t device)
{
    qm_PCIDevice board{};
    EXPECT_EQ(0, qm_findPciDevice(&board, "board", vendor, device, QM_PCI_ANY_ID, QM_PCI_ANY_ID, 1, 0, -1))
        << pQmErrorStr;
    return board;
}

constexpr char kBoardAddress[] = "00:03.0";
constexpr char kCardAddress[] = "01:00.0";
constexpr char kCardDriver[] = "e1000e";
constexpr char kSmallAddress[] = "00:05.0";  // a USB controller with a BAR of 256 bytes

TEST(Board, IsFoundWhereTheKernelListsItAndAnswersAsDocumented)
{
    qm_PCIDevice board = findBoard(0x1234, 0x11E8);
    EXPECT_EQ(kBoardAddress, address(board.bus, board.slot));
    EXPECT_THAT(
        linesOf(fmt::format("lspci -v -s {} | grep -o 'Memory at [0-9a-f]*.*size=1M'", kBoardAddress)),
        ElementsAre(StartsWith(fmt::format("Memory at {:x} ", board.BaseAddress[0]))));
    EXPECT_EQ(1U << 20, board.Length[0]);

    EXPECT_EQ("0\n", readFile(folderOf(kBoardAddress) / "enable"));
    auto* const registers = static_cast<volatile uint32_t*>(qm_mapMemory(&board, 0));
    ASSERT_NE(nullptr, registers);
    EXPECT_EQ("1\n", readFile(folderOf(kBoardAddress) / "enable"));
    EXPECT_EQ(0x010000EDU, registers[0x00 / 4]);  // identification: version 1.0
    registers[0x04 / 4] = 0x12345678;
    EXPECT_EQ(~0x12345678U, registers[0x04 / 4]);
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

TEST(Driver, ThatDoesNotFitIsRefusedUnseenAndTheKernelFindsTheRightOne)
{
    qm_PCIDevice board = findBoard(0x8086, 0x10D3);
    ASSERT_EQ(kCardDriver, driverOf(kCardAddress));
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

/// Adds all nodes, bridges before what hangs behind them.
void collect(const qm_topo_node* nodes, uint32_t count, std::vector<const qm_topo_node*>& into)
{
    for (const qm_topo_node& node : std::span(nodes, count)) {
        into.push_back(&node);
        if (node.headerType != QM_TOPO_PCI_BRIDGE) continue;
        const auto* const bridge = reinterpret_cast<const _qm_topo_bridge*>(node.customData);
        collect(bridge->children, bridge->nChildren, into);
    }
}

TEST(Topology, HoldsWhatLspciListsBehindTheBridgesOfTheKernelsTree)
{
    qm_topo_node* root = nullptr;
    const int count = qm_getPciTopology(&root);
    ASSERT_GT(count, 0);
    std::vector<const qm_topo_node*> nodes;
    collect(root, static_cast<uint32_t>(count), nodes);

    std::vector<std::string> ours;
    int behindBridges = 0, express = 0;
    for (const qm_topo_node* node : nodes) {
        const std::string here = addressOf(*node);
        SCOPED_TRACE(here);
        ours.push_back(
            fmt::format("{} {:04x}: {:04x}:{:04x}", here, node->classcode >> 8, node->VID, node->DID));
        EXPECT_EQ(node->parent == nullptr ? "pci0000:00" : "0000:" + addressOf(*node->parent),
                  canonical(folderOf(here)).parent_path().filename());
        behindBridges += node->parent != nullptr ? 1 : 0;

        // "Capabilities: [e0] Express (v2) Endpoint", then "LnkCap: Port #0, Speed 2.5GT/s, Width x1, ..."
        const auto lines = linesOf(
            "lspci -vv -s " + here +
            " | sed -nE 's/.*Express \\(v([0-9])\\).*/PCIe\\1/p; s/.*LnkCap:.*Width (x[0-9]+).*/\\1/p'");
        std::string expected = "PCI";
        if (!lines.empty()) expected = lines.at(0) + " " + (lines.size() > 1 ? lines[1] : "x0");
        EXPECT_EQ(expected, node->interfaceType);
        express += lines.empty() ? 0 : 1;
    }
    // "00:03.0 00ff: 1234:11e8 (rev 10)"
    EXPECT_THAT(ours,
                testing::UnorderedElementsAreArray(linesOf("lspci -n | sed -E 's/ \\((rev|prog-if) .*//'")));
    EXPECT_GE(behindBridges, 4);  // two cards, two nested bridges
    EXPECT_GE(express, 4);        // three root ports and a card
}

}  // namespace
