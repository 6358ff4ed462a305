#include "pci_test.hpp"

namespace {

using namespace qm::test;

_qm_topo_bridge* bridgeOf(const qm_topo_node& node)
{
    return reinterpret_cast<_qm_topo_bridge*>(node.customData);
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
struct Tree
{
    explicit Tree(uint32_t bus = 0) { count = qm_getPciTopologyAtBus(&nodes, bus); }
    ~Tree() { release(nodes, static_cast<uint32_t>(count)); }

    qm_topo_node* nodes = reinterpret_cast<qm_topo_node*>(1);
    int count = -1;
};

struct PciTopology : PciTest
{
    static std::string printed()
    {
        return standardOutputOf([] {
            const Tree tree;
            qm_printPciTopology(tree.nodes, static_cast<uint32_t>(tree.count));
        });
    }
};

TEST_F(PciTopology, ANodeHoldsWhatTheConfigurationSays)
{
    world_.add(board(1, 1).at(0, 31, 6).classCode(0x020001).subsystem(0x10B5, 0x9050).multiFunction());
    const Tree tree;
    ASSERT_EQ(1, tree.count);
    const qm_topo_node& node = tree.nodes[0];
    EXPECT_THAT((std::vector{node.func, node.SubVID, node.SubDID, node.classcode, node.headerType}),
                ElementsAre(6, 0x10B5, 0x9050, 0x020001, 0));
    EXPECT_EQ(nullptr, node.parent);
    EXPECT_EQ(0U, node.customData);
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
    EXPECT_THAT((std::vector{bridge.prim, bridge.sec, bridge.sub, bridge.nChildren}),
                ElementsAre(0, 3, 5, 41));
    for (uint32_t i = 0; i < bridge.nChildren; ++i)
        ASSERT_EQ(&tree.nodes[25], bridge.children[i].parent);
    const _qm_topo_bridge& inner = *bridgeOf(bridge.children[40]);
    ASSERT_EQ(1U, inner.nChildren);
    EXPECT_EQ(&bridge.children[40], inner.children[0].parent);
    EXPECT_EQ(nullptr, bridgeOf(tree.nodes[26])->children);
    EXPECT_EQ(0U, tree.nodes[27].customData) << "CardBus bridges are not followed";
}

TEST_F(PciTopology, ABridgeWhoseBusWasSeenIsNotFollowed)
{
    // The bridge that must not be followed, the bus behind a bridge before it, the number of nodes.
    for (const auto& [bus, secondary, behind, nodes] :
         {std::tuple{0U, 0U, 100U, 2}, {3U, 3U, 3U, 3}, {3U, 2U, 3U, 2}, {0U, 3U, 3U, 3}}) {
        SCOPED_TRACE(testing::Message() << "from " << bus << " to " << secondary);
        const World world;
        world_.add(board(1, 9).at(bus, 7).bridgeTo(secondary, 255)).add(board(1, 1).at(secondary, 9));
        if (behind < 100) world_.add(board(1, 8).at(0, 2).bridgeTo(behind, 255));
        const std::string text = printed();
        EXPECT_EQ(nodes, std::ranges::count(text, '\n')) << text;
    }
}

TEST_F(PciTopology, ABusScannedAloneIsATopOfItsOwn)
{
    world_.add(board(1, 2).at(0, 28).bridgeTo(255, 255)).add(board(1, 3).at(255, 1));
    const Tree behind(255), none(4), impossible(256);
    ASSERT_EQ(1, behind.count);
    EXPECT_EQ(nullptr, behind.nodes[0].parent);
    EXPECT_EQ(0, none.count + impossible.count);
    EXPECT_EQ(nullptr, none.nodes);
    EXPECT_EQ(nullptr, impossible.nodes);
}

TEST_F(PciTopology, PrintingListsTheProbedFunctionsEachBridgeBeforeWhatIsBehindIt)
{
    world_.add(board(0x8086, 0x29C0).at(0, 0)).add(board(1, 1).at(0, 0, 1));  // not looked for
    world_.add(board(0x10EC, 0x8168).at(0, 31, 3)).add(board(0x10EC, 0x8169).at(0, 31, 5));
    world_.add(board(0x8086, 0xA110).at(0, 28, 7));
    world_.add(board(0x8086, 0xA116).at(0, 28).multiFunction().bridgeTo(10, 12));
    world_.add(board(0x1B21, 0x1080).at(10, 17).bridgeTo(12, 12));
    world_.add(board(0x10B5, 0x8112).at(12, 3).express(15, 63));
    world_.add(board(0x104C, 0xAC56).at(10, 18).cardBus().bar(2, 0x13000000, 0x1000));
    std::string output;
    EXPECT_EQ("", standardErrorOf([&] { output = printed(); }));
    EXPECT_EQ(
        "00,00,00\t-\tVID: 8086, DID: 29c0, PCI\t\t\t\n"
        "00,28,00\t-\tVID: 8086, DID: a116, PCI\t\t(MF)\t(PCI-to-PCI bridge)\n"
        "\t10,17,00\t-\tVID: 1b21, DID: 1080, PCI\t\t\t(PCI-to-PCI bridge)\n"
        "\t\t12,03,00\t-\tVID: 10b5, DID: 8112, PCIe15 x63\t\t\t\n"
        "\t10,18,00\t-\tVID: 104c, DID: ac56, PCI\t\t\t(Cardbus bridge)\n"
        "00,28,07\t-\tVID: 8086, DID: a110, PCI\t\t\t\n"
        "00,31,03\t-\tVID: 10ec, DID: 8168, PCI\t\t\t\n"
        "00,31,05\t-\tVID: 10ec, DID: 8169, PCI\t\t\t\n",
        output);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PciTopology, LibpciWarnsAgainAfterAScan)
{
    world_.add(board(1, 1).at(0, 1));
    {
        const Tree tree;
    }
    world_.remove("0000:00:01.0");
    EXPECT_THAT(standardErrorOf([this] { EXPECT_EQ(1, qmPCI_getDeviceByIdx(1, 1, 5, 5, 1, &device_)); }),
                HasSubstr("Cannot open"));
}

}  // namespace
