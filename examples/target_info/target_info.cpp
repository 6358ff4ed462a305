// Prints what the library knows of the computer that it runs on: target model and PCI topology.

#include <qm.h>

#include <cstdio>
#include <cstdlib>

namespace {

/// The caller owns the tree: arrays, texts and bridge records.
void freeTopology(qm_topo_node* nodes, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        std::free(nodes[i].interfaceType);
        auto* const bridge = reinterpret_cast<_qm_topo_bridge*>(nodes[i].customData);
        if (bridge == nullptr) continue;
        freeTopology(bridge->children, bridge->nChildren);
        std::free(bridge);
    }
    std::free(nodes);
}

}  // namespace

int main()
{
    std::printf("Target: %s (type %d)\n", qm_getTargetMarketingName(), static_cast<int>(qm_getTargetType()));
    qm_topo_node* root = nullptr;
    const auto count = static_cast<uint32_t>(qm_getPciTopology(&root));
    std::printf("PCI topology (bus,slot,function in decimal), %u functions on bus 0:\n", count);
    qm_printPciTopology(root, count);
    freeTopology(root, count);
    return count > 0 ? 0 : 1;
}
