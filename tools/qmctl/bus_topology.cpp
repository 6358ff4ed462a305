#include "bus_topology.hpp"

#include <cstdlib>

namespace qmctl {

namespace {

void freeTopology(qm_topo_node* nodes, uint32_t count)
{
    for (qm_topo_node& node : std::span(nodes, count)) {
        std::free(node.interfaceType);
        auto* const bridge = reinterpret_cast<_qm_topo_bridge*>(node.customData);
        if (bridge == nullptr) continue;
        freeTopology(bridge->children, bridge->nChildren);
        std::free(bridge);
    }
    std::free(nodes);
}

}  // namespace

BusTopology::BusTopology(uint32_t bus) : count_(static_cast<uint32_t>(qm_getPciTopologyAtBus(&nodes_, bus)))
{}

BusTopology::~BusTopology()
{
    freeTopology(nodes_, count_);
}

}  // namespace qmctl
