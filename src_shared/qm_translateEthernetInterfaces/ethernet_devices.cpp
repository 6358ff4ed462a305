#include "qm_translateEthernetInterfaces/ethernet_devices.hpp"

#include <qm/log.h>

#include <algorithm>
#include <cstdlib>
#include <span>
#include <tuple>

namespace {

constexpr uint32_t kEthernetClass = 0x020000;

/// Null for anything else than a PCI-to-PCI bridge.
_qm_topo_bridge* bridgeOf(const qm_topo_node& node)
{
    if (node.headerType != QM_TOPO_PCI_BRIDGE) return nullptr;
    return reinterpret_cast<_qm_topo_bridge*>(node.customData);
}

void release(qm_topo_node* nodes, uint32_t count)
{
    for (const qm_topo_node& node : std::span(nodes, count)) {
        _qm_topo_bridge* const bridge = bridgeOf(node);
        if (bridge != nullptr) release(bridge->children, bridge->nChildren);
        std::free(bridge);
        std::free(node.interfaceType);
    }
    std::free(nodes);
}

/// Picks the Ethernet functions out of a level of the tree and of all levels below, depth first.
void filterEthernetDevices(const qm_topo_node* nodes, uint32_t count, qm::ethernet::EthernetDevices& devices)
{
    for (const qm_topo_node& node : std::span(nodes, count)) {
        if (node.classcode == kEthernetClass) devices.push_back(node);
        const _qm_topo_bridge* const bridge = bridgeOf(node);
        if (bridge != nullptr) filterEthernetDevices(bridge->children, bridge->nChildren, devices);
    }
}

std::tuple<uint32_t, uint32_t, uint32_t> position(const qm_topo_node& node)
{
    return {node.bus, node.slot, node.func};
}

}  // namespace

namespace qm::ethernet {

PciTree::~PciTree()
{
    release(nodes_, static_cast<uint32_t>(std::max(count_, 0)));
}

int getEthernetDevices(const PciTree& tree, EthernetDevices& devices)
{
    if (tree.count() < 0) {
        qm_printf(qm_error, "PCI topology detection failure!\n");
        return -1;
    }
    filterEthernetDevices(tree.nodes(), static_cast<uint32_t>(tree.count()), devices);
    std::sort(devices.begin(), devices.end(),
              [](const auto& left, const auto& right) { return position(left) < position(right); });
    return 0;
}

}  // namespace qm::ethernet
