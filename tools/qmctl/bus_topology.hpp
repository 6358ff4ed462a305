#ifndef QMCTL_BUS_TOPOLOGY_HPP
#define QMCTL_BUS_TOPOLOGY_HPP

#include <qm/pci_topology.h>

#include <span>

namespace qmctl {

/// The library's topology from a bus on: its caller owns the arrays, texts and bridge records.
class BusTopology
{
public:
    explicit BusTopology(uint32_t bus);
    BusTopology(const BusTopology&) = delete;
    BusTopology& operator=(const BusTopology&) = delete;
    ~BusTopology();
    [[nodiscard]] std::span<const qm_topo_node> nodes() const { return {nodes_, count_}; }

private:
    qm_topo_node* nodes_ = nullptr;
    uint32_t count_;
};

}  // namespace qmctl

#endif
