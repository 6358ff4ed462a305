#pragma once

#include <qm/pci_topology.h>

#include <vector>

namespace qm::ethernet {

/// The computer's PCI topology; released at its end with all that hangs on it.
class PciTree
{
public:
    PciTree() : count_(qm_getPciTopology(&nodes_)) {}
    ~PciTree();
    PciTree(const PciTree&) = delete;
    PciTree& operator=(const PciTree&) = delete;

    /// Of bus 0; negative when the topology could not be read.
    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] const qm_topo_node* nodes() const { return nodes_; }

private:
    qm_topo_node* nodes_ = nullptr;
    int count_;
};

/// In ascending order of bus, slot and function: a port's index is its position. The nodes are copies whose
/// texts, children and parents are the tree's.
using EthernetDevices = std::vector<qm_topo_node>;

/// Lists the Ethernet functions of a tree; 0, or -1 and a log line when the tree could not be read.
int getEthernetDevices(const PciTree& tree, EthernetDevices& devices);

}  // namespace qm::ethernet
