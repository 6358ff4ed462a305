// The topology against lspci's and the kernel's view of the same machine.

#include "machine.hpp"

#include <fmt/core.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <span>

namespace {

using qm::test::address;
using qm::test::linesOf;
using testing::UnorderedElementsAreArray;

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
    EXPECT_THAT(ours, UnorderedElementsAreArray(linesOf("lspci -n | sed -E 's/ \\((rev|prog-if) .*//'")));
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
