#include "pci_test.hpp"

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace qm::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

_qm_topo_bridge* bridgeOf(const qm_topo_node& node)
{
    return reinterpret_cast<_qm_topo_bridge*>(node.customData);
}

auto hasDevice(uint32_t device)
{
    return [device](const qm_topo_node& node) { return node.DID == device; };
}

void release(qm_topo_node* nodes, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        if (auto* bridge = bridgeOf(nodes[i])) {
            release(bridge->children, bridge->nChildren);
            free(bridge);
        }
        free(nodes[i].interfaceType);
    }
    free(nodes);
}

/** A scan of a bus, released as its caller must. */
class Tree
{
public:
    explicit Tree(uint32_t bus = 0) { count = qm_getPciTopologyAtBus(&nodes, bus); }
    ~Tree() { release(nodes, static_cast<uint32_t>(count)); }

    [[nodiscard]] std::vector<std::string> places() const
    {
        std::vector<std::string> places;
        places.reserve(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i)
            places.push_back(std::to_string(nodes[i].slot) + "." + std::to_string(nodes[i].func));
        return places;
    }

    qm_topo_node* nodes = reinterpret_cast<qm_topo_node*>(1);
    int count = -1;
};

class PciTopology : public PciTest
{};

TEST_F(PciTopology, FurtherFunctionsAreProbedUnlessFunction0SaysThereAreNone)
{
    world_.add(board(1, 1).at(0, 2, 0)).add(board(1, 2).at(0, 2, 1));
    world_.add(board(1, 1).at(0, 3, 0).multiFunction()).add(board(1, 2).at(0, 3, 4));
    world_.add(board(1, 2).at(0, 3, 7)).add(board(1, 1).at(0, 31, 3)).add(board(1, 2).at(0, 31, 5));
    const Tree tree;
    EXPECT_THAT(tree.places(), ElementsAre("2.0", "3.0", "3.4", "3.7", "31.3", "31.5"));
    EXPECT_FALSE(tree.nodes[0].MF);
    EXPECT_TRUE(tree.nodes[1].MF);
    EXPECT_FALSE(tree.nodes[2].MF);
}

TEST_F(PciTopology, ANodeHoldsWhatTheConfigurationSays)
{
    world_.add(
        board(0x8086, 0x1533).at(0, 31, 6).classCode(0x020001).subsystem(0x10B5, 0x9050).multiFunction());
    const Tree tree;
    ASSERT_EQ(1, tree.count);
    const qm_topo_node& node = tree.nodes[0];
    EXPECT_THAT((std::vector{node.bus, node.slot, node.func, node.VID, node.DID, node.SubVID, node.SubDID,
                             node.classcode, node.headerType}),
                ElementsAre(0, 31, 6, 0x8086, 0x1533, 0x10B5, 0x9050, 0x020001, 0));
    EXPECT_TRUE(node.MF);
    EXPECT_EQ(nullptr, node.parent);
    EXPECT_EQ(0U, node.customData);
}

TEST_F(PciTopology, TheInterfaceTypeComesFromTheExpressCapability)
{
    world_.add(board(1, 1).at(0, 0)).add(board(1, 1).at(0, 1).express(2, 4));
    world_.add(board(1, 1).at(0, 2).express(15, 63)).add(board(1, 1).at(0, 3).express(2, 4).shortConfig());
    const Tree tree;
    std::vector<std::string> types;
    for (int i = 0; i < tree.count; ++i)
        types.emplace_back(tree.nodes[i].interfaceType);
    EXPECT_THAT(types, ElementsAre("PCI", "PCIe2 x4", "PCIe15 x63", "PCI"));
}

TEST_F(PciTopology, ABridgeHoldsTheNodesBehindItAndTheyPointBack)
{
    for (unsigned slot = 0; slot < 25; ++slot)
        world_.add(board(1, 1).at(0, slot));
    world_.add(board(1, 2).at(0, 28, 1).multiFunction().bridgeTo(3, 5));
    world_.add(board(1, 2).at(0, 29).bridgeTo(9, 10));
    for (unsigned i = 0; i < 40; ++i)
        world_.add(board(1, 3).at(3, i / 8, i % 8).multiFunction());
    world_.add(board(1, 4).at(3, 20).bridgeTo(5, 5)).add(board(1, 5).at(5, 1));

    world_.add(board(1, 6).at(0, 30).cardBus().dword(0x18, 0x00050500));

    const Tree tree;
    ASSERT_EQ(28, tree.count);
    const _qm_topo_bridge& bridge = *bridgeOf(tree.nodes[25]);
    EXPECT_EQ(1U, tree.nodes[25].headerType);
    EXPECT_THAT((std::vector{bridge.prim, bridge.sec, bridge.sub, bridge.nChildren}),
                ElementsAre(0, 3, 5, 41));
    for (uint32_t i = 0; i < bridge.nChildren; ++i)
        ASSERT_EQ(&tree.nodes[25], bridge.children[i].parent);
    const _qm_topo_bridge& inner = *bridgeOf(bridge.children[40]);
    ASSERT_EQ(1U, inner.nChildren);
    EXPECT_EQ(&bridge.children[40], inner.children[0].parent);
    EXPECT_EQ(5U, inner.children[0].bus);

    const _qm_topo_bridge& empty = *bridgeOf(tree.nodes[26]);
    EXPECT_EQ(9U, empty.sec);
    EXPECT_EQ(0U, empty.nChildren);
    EXPECT_EQ(nullptr, empty.children);

    EXPECT_EQ(2U, tree.nodes[27].headerType);
    EXPECT_EQ(0U, tree.nodes[27].customData) << "CardBus bridges are not followed";
}

struct Loop
{
    const char* name;
    unsigned bus, secondary;    // the bridge that must not be followed
    unsigned behind, behindTo;  // a bridge in front of its bus on bus 0, when not 0
};

class PciTopologyLoop : public PciTopology, public testing::WithParamInterface<Loop>
{};

TEST_P(PciTopologyLoop, IsNotFollowed)
{
    const auto& [name, bus, secondary, behind, behindTo] = GetParam();
    world_.add(board(1, 9).at(bus, 7).bridgeTo(secondary, 255)).add(board(1, 1).at(secondary, 9));
    if (behind != 0) world_.add(board(1, 8).at(0, behind).bridgeTo(behindTo, 255));
    const Tree tree;
    const qm_topo_node* node = tree.nodes;
    if (bus != 0) node = bridgeOf(*std::find_if(node, node + tree.count, hasDevice(8)))->children;
    const _qm_topo_bridge& bridge = *bridgeOf(*std::find_if(node, node + 2, hasDevice(9)));
    EXPECT_EQ(secondary, bridge.sec);
    EXPECT_EQ(0U, bridge.nChildren);
    EXPECT_EQ(nullptr, bridge.children);
}

INSTANTIATE_TEST_SUITE_P(All, PciTopologyLoop,
                         testing::Values(Loop{"BridgeToBus0", 0, 0, 0, 0},
                                         Loop{"BridgeToItsOwnBus", 3, 3, 2, 3},
                                         Loop{"TwoBridgesToEachOther", 3, 0, 2, 3},
                                         Loop{"BridgeToALowerBus", 3, 2, 2, 3},
                                         Loop{"BridgeToABusSeenBefore", 0, 3, 2, 3}),
                         [](const auto& row) { return row.param.name; });

TEST_F(PciTopology, ABusScannedAloneIsATopOfItsOwn)
{
    world_.add(board(1, 2).at(0, 28).bridgeTo(3, 3)).add(board(1, 3).at(3, 1)).add(board(1, 4).at(255, 1));
    const Tree behind(3);
    ASSERT_EQ(1, behind.count);
    EXPECT_EQ(nullptr, behind.nodes[0].parent);
    const Tree last(255);
    EXPECT_EQ(1, last.count);
    const Tree none(4);
    EXPECT_EQ(0, none.count);
    EXPECT_EQ(nullptr, none.nodes);
}

TEST_F(PciTopology, PrintingListsEachBridgeBeforeWhatIsBehindIt)
{
    world_.add(board(0x8086, 0x29C0).at(0, 0)).add(board(0x10EC, 0x8168).at(0, 31));
    world_.add(board(0x8086, 0xA116).at(0, 28).multiFunction().bridgeTo(10, 12));
    world_.add(board(0x1B21, 0x1080).at(10, 17).bridgeTo(12, 12));
    world_.add(board(0x10B5, 0x8112).at(12, 3).express(1, 1));
    world_.add(board(0x104C, 0xAC56).at(10, 18).cardBus().bar(2, 0x13000000, 0x1000));
    world_.add(board(1, 2).at(19, 0));
    const Tree tree;

    const auto print = [&] { qm_printPciTopology(tree.nodes, static_cast<uint32_t>(tree.count)); };
    EXPECT_EQ(
        "00,00,00\t-\tVID: 8086, DID: 29c0, PCI\t\t\t\n"
        "00,28,00\t-\tVID: 8086, DID: a116, PCI\t\t(MF)\t(PCI-to-PCI bridge)\n"
        "\t10,17,00\t-\tVID: 1b21, DID: 1080, PCI\t\t\t(PCI-to-PCI bridge)\n"
        "\t\t12,03,00\t-\tVID: 10b5, DID: 8112, PCIe1 x1\t\t\t\n"
        "\t10,18,00\t-\tVID: 104c, DID: ac56, PCI\t\t\t(Cardbus bridge)\n"
        "00,31,00\t-\tVID: 10ec, DID: 8168, PCI\t\t\t\n",
        standardOutputOf(print));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciTopology, ScanningIsSilent)
{
    world_.add(board(1, 1).at(0, 1).express(2, 4)).add(board(1, 2).at(0, 2).bridgeTo(3, 3));
    world_.add(board(1, 3).at(3, 1));
    const auto scan = [] { const Tree tree; };
    EXPECT_EQ("", standardErrorOf(scan));
    EXPECT_EQ("", standardOutputOf(scan));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciTopology, LibpciWarnsAgainAfterAScan)
{
    world_.add(board(1, 1).at(0, 1));
    std::make_unique<Tree>();
    world_.remove("0000:00:01.0");
    EXPECT_THAT(standardErrorOf([this] { EXPECT_EQ(1, qmPCI_getDeviceByIdx(1, 1, 5, 5, 1, &device_)); }),
                HasSubstr("Cannot open"));
}

}  // namespace

}  // namespace qm::test
