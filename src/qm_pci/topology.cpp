#include "qm_pci/pci_scan.hpp"
#include <qm/pci_topology.h>

#include <bitset>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>

namespace {

constexpr int kDomain = 0;
constexpr uint32_t kBuses = 256;
constexpr int kSlots = 32;
constexpr int kFunctions = 8;
constexpr std::size_t kArraySize = 16384;
static_assert(kArraySize == sizeof(qm_topo_node) * kSlots * kFunctions);  // one bus fits
constexpr uint32_t kMultiFunctionBit = 0x80;
constexpr std::size_t kInterfaceTypeSize = 13;

using BusSet = std::bitset<kBuses>;

void ignoreWarning(char* /*format*/, ...) {}

/// Silences libpci, which warns about every absent device that it is asked to read.
class NoWarnings
{
public:
    explicit NoWarnings(pci_access& access) : access_(access), warning_(access.warning)
    {
        access_.warning = ignoreWarning;
    }
    ~NoWarnings() { access_.warning = warning_; }
    NoWarnings(const NoWarnings&) = delete;
    NoWarnings& operator=(const NoWarnings&) = delete;

private:
    pci_access& access_;
    void (*warning_)(char*, ...);
};

bool isPresent(pci_access& access, const qm::pci::ConfigReader& config)
{
    const NoWarnings silence(access);
    return config.word(PCI_VENDOR_ID) != 0xFFFF;
}

/// "PCIe" with capability version and maximum link width, or "PCI"; allocated for the caller.
char* newInterfaceType(const qm::pci::ConfigReader& config)
{
    auto* const text = static_cast<char*>(std::malloc(kInterfaceTypeSize));
    if (text == nullptr) return nullptr;
    const int express = config.capability(PCI_CAP_ID_EXP);
    if (express == 0) return std::strcpy(text, "PCI");
    const int version = config.word(express + PCI_EXP_FLAGS) & 0xF;
    const int width = static_cast<int>(config.dword(express + PCI_EXP_LNKCAP) >> 4) & 0x3F;
    std::snprintf(text, kInterfaceTypeSize, "PCIe%d x%d", version, width);
    return text;
}

qm_topo_node readNode(const qm::pci::ConfigReader& config, qm_topo_node* parent)
{
    const uint32_t ids = config.dword(PCI_VENDOR_ID);
    const uint32_t classAndRevision = config.dword(PCI_CLASS_REVISION);
    const uint32_t header = config.dword(PCI_CACHE_LINE_SIZE) >> 16 & 0xFF;
    const uint32_t subsystem = config.dword(PCI_SUBSYSTEM_VENDOR_ID);
    qm_topo_node node{};
    node.VID = ids & 0xFFFF;
    node.DID = ids >> 16;
    node.SubVID = subsystem & 0xFFFF;
    node.SubDID = subsystem >> 16;
    node.classcode = classAndRevision >> 8;
    node.interfaceType = newInterfaceType(config);
    node.MF = (header & kMultiFunctionBit) != 0;
    node.headerType = header & ~kMultiFunctionBit;
    node.parent = parent;
    return node;
}

/// Appends the functions of one slot; their number.
uint32_t scanSlot(pci_access& access, uint32_t bus, int slot, qm_topo_node* nodes, qm_topo_node* parent)
{
    uint32_t count = 0;
    for (int function = 0; function < kFunctions; ++function) {
        const qm::pci::ConfigReader config(&access, kDomain, static_cast<int>(bus), slot, function);
        if (!isPresent(access, config)) continue;  // also when function 0 is absent
        qm_topo_node& node = nodes[count++] = readNode(config, parent);
        node.bus = bus;
        node.slot = static_cast<uint32_t>(slot);
        node.func = static_cast<uint32_t>(function);
        if (function == 0 && !node.MF) break;
    }
    return count;
}

uint32_t scanBusesForTreeElements(uint32_t firstBus, uint32_t lastBus, qm_topo_node** elementsPtr,
                                  qm_topo_node* parentPtr, BusSet& seen);

/// Reads what hangs behind a bridge.
void scanBridge(qm_topo_node& node, BusSet& seen)
{
    auto* const bridge = static_cast<_qm_topo_bridge*>(std::calloc(1, sizeof(_qm_topo_bridge)));
    if (bridge == nullptr) return;
    uint32_t numbers = 0;
    {
        const qm::pci::ConfigReader config(qm_pci_access(), kDomain, static_cast<int>(node.bus),
                                           static_cast<int>(node.slot), static_cast<int>(node.func));
        numbers = config.dword(PCI_PRIMARY_BUS);
    }
    bridge->prim = numbers & 0xFF;
    bridge->sec = numbers >> 8 & 0xFF;
    bridge->sub = numbers >> 16 & 0xFF;
    node.customData = reinterpret_cast<uintptr_t>(bridge);
    // A bridge that the firmware has not numbered, or that points back, would be walked for ever.
    if (bridge->sec <= node.bus || seen[bridge->sec]) return;
    bridge->nChildren = scanBusesForTreeElements(bridge->sec, bridge->sec, &bridge->children, &node, seen);
}

uint32_t scanBusesForTreeElements(uint32_t firstBus, uint32_t lastBus, qm_topo_node** elementsPtr,
                                  qm_topo_node* parentPtr, BusSet& seen)
{
    *elementsPtr = nullptr;
    if (firstBus > lastBus) return 0;
    auto* nodes = static_cast<qm_topo_node*>(std::malloc(kArraySize));
    if (nodes == nullptr) return 0;

    pci_access& access = *qm_pci_access();
    uint32_t count = 0;
    for (uint32_t bus = firstBus; bus <= lastBus; ++bus) {
        seen.set(bus);
        for (int slot = 0; slot < kSlots; ++slot)
            count += scanSlot(access, bus, slot, nodes + count, parentPtr);
    }
    if (count == 0) {
        std::free(nodes);
        return 0;
    }
    // Shrunk before the bridges are followed: their children keep pointers to these nodes.
    auto* const shrunk = static_cast<qm_topo_node*>(std::realloc(nodes, count * sizeof(qm_topo_node)));
    if (shrunk != nullptr) nodes = shrunk;

    for (qm_topo_node& node : std::span(nodes, count))
        if (node.headerType == QM_TOPO_PCI_BRIDGE) scanBridge(node, seen);
    *elementsPtr = nodes;
    return count;
}

const char* bridgeKind(const qm_topo_node& node)
{
    if (node.headerType == QM_TOPO_PCI_BRIDGE) return "(PCI-to-PCI bridge)";
    if (node.headerType == QM_TOPO_CARDBUS_BRIDGE) return "(Cardbus bridge)";
    return "";
}

void printBranch(uint32_t level, const qm_topo_node* branch, uint32_t nElements)
{
    const std::string indentation(level, '\t');
    for (const qm_topo_node& node : std::span(branch, nElements)) {
        // Deliberate: bus, slot and function are decimal here.
        std::printf("%s%02d,%02d,%02d\t-\tVID: %04x, DID: %04x, %s\t\t%s\t%s\n", indentation.c_str(),
                    static_cast<int>(node.bus), static_cast<int>(node.slot), static_cast<int>(node.func),
                    node.VID, node.DID, node.interfaceType, node.MF ? "(MF)" : "", bridgeKind(node));
        const auto* const bridge = reinterpret_cast<const _qm_topo_bridge*>(node.customData);
        if (node.headerType == QM_TOPO_PCI_BRIDGE && bridge != nullptr && bridge->nChildren != 0)
            printBranch(level + 1, bridge->children, bridge->nChildren);
    }
}

}  // namespace

int qm_getPciTopology(qm_topo_node** rootComplex)
{
    return qm_getPciTopologyAtBus(rootComplex, 0);
}

int qm_getPciTopologyAtBus(qm_topo_node** rootComplex, uint32_t bus)
{
    BusSet seen;
    if (bus >= kBuses) {
        *rootComplex = nullptr;
        return 0;
    }
    return static_cast<int>(scanBusesForTreeElements(bus, bus, rootComplex, nullptr, seen));
}

void qm_printPciTopology(qm_topo_node* branch, uint32_t nElements)
{
    printBranch(0, branch, nElements);
}
