#include <qm/pci_topology.h>
#include <qm/target.h>

#include <array>
#include <cstdio>
#include <span>

namespace {

constexpr uint32_t kRootBus = 0;
constexpr uint32_t kRootPortVendor = 0x8086;

/// A target model is known by a device directly behind one of its root ports on bus 0.
struct Combination
{
    uint32_t slot, function, rootPort;
    uint32_t vendor, device;
    qm_TargetType type;
};

/// The first combination that is present decides.
constexpr std::array<Combination, 15> kCombinations = {{
    {28, 6, 0xA116, 0x1B21, 0x1080, KR411},
    {28, 4, 0x1E18, 0x197B, 0x2368, KR410},
    {28, 0, 0x8D10, 0x1A03, 0x1150, Ridge},
    {28, 6, 0xA116, 0x10B5, 0x8112, Slate},
    {28, 7, 0x1E1E, 0x10B5, 0x8606, RoverV2},
    {19, 1, 0x5AD9, 0x8086, 0x157B, Cube},
    {28, 3, 0x1E16, 0x104C, 0x8240, Campus2},
    {28, 0, 0x0F48, 0x10B5, 0x8606, Lowland_TopLayer},
    {30, 0, 0x2448, 0x104C, 0x8025, RoverAEG},
    {28, 4, 0x2948, 0x8086, 0x109A, Harbor},
    {30, 0, 0x244E, 0x1283, 0x8213, KT411},
    {29, 1, 0xA331, 0x8086, 0x1533, RoverV3},
    {28, 3, 0xA33B, 0x1B21, 0x1080, Zenith},
    {28, 5, 0xA115, 0x1A03, 0x1150, Brisa},
    {19, 0, 0x5AD8, 0x8086, 0x1533, Otter},
}};

/// A top layer with this second combination is a whole Lowland.
constexpr Combination kLowlandBase = {28, 2, 0x0F4C, 0x10B5, 0x8606, Lowland};

struct MarketingName
{
    qm_TargetType type;
    const char* text;
};

constexpr std::array<MarketingName, 17> kMarketingNames = {{
    {KR410, "Summit real-time target machine"},
    {KR411, "Summit Core real-time target machine"},
    {Ridge, "Summit Core+ real-time target machine"},
    {Lowland, "Lowland real-time target machine"},
    {Lowland_TopLayer, "Lowland real-time target machine"},
    {RoverV2, "Rover real-time target machine"},
    {Slate, "Summit PCIe+ real-time target machine"},
    {Cube, "Cube real-time target machine"},
    {Harbor, "Summit real-time target machine"},
    {RoverAEG, "Rover AEG real-time target machine"},
    {Campus2, "Campus real-time target machine"},
    {KT411, "Summit real-time target machine"},
    {RoverV3, "Rover real-time target machine (R3)"},
    {Zenith, "Summit real-time target machine (S3)"},
    {Brisa, "Summit Core real-time target machine"},
    {Otter, "Cube real-time target machine"},
    {Talus, "Kite real-time target machine"},
}};

constexpr char kOtherComputer[] = "NonQuillmark";

bool checkForCombination(uint32_t bridgeBus, uint32_t bridgeSlot, uint32_t bridgeFunction,
                         uint32_t bridgeVendor, uint32_t bridgeDevice, uint32_t deviceVendor,
                         uint32_t deviceDevice)
{
    static int32_t nElements = 0;
    static qm_topo_node* rootComplex = nullptr;
    if (nElements < 1) nElements = qm_getPciTopology(&rootComplex);
    if (nElements < 0) std::puts("PCI topology detection failure!");
    if (nElements < 1) return false;

    for (const qm_topo_node& node : std::span(rootComplex, static_cast<std::size_t>(nElements))) {
        const bool isBridge = node.bus == bridgeBus && node.slot == bridgeSlot &&
                              node.func == bridgeFunction && node.headerType == QM_TOPO_PCI_BRIDGE &&
                              node.VID == bridgeVendor && node.DID == bridgeDevice;
        if (!isBridge) continue;
        const auto* const bridge = reinterpret_cast<const _qm_topo_bridge*>(node.customData);
        if (bridge == nullptr) continue;
        for (const qm_topo_node& child : std::span(bridge->children, bridge->nChildren))
            if (child.VID == deviceVendor && child.DID == deviceDevice) return true;
    }
    return false;
}

bool isPresent(const Combination& row)
{
    return checkForCombination(kRootBus, row.slot, row.function, kRootPortVendor, row.rootPort, row.vendor,
                               row.device);
}

}  // namespace

qm_TargetType qm_getTargetType(void)
{
    for (const Combination& row : kCombinations) {
        if (!isPresent(row)) continue;
        return row.type == Lowland_TopLayer && isPresent(kLowlandBase) ? Lowland : row.type;
    }
    return NonQuillmark;
}

const char* qm_getTargetMarketingName(void)
{
    const qm_TargetType type = qm_getTargetType();
    for (const MarketingName& row : kMarketingNames)
        if (row.type == type) return row.text;
    return kOtherComputer;
}
