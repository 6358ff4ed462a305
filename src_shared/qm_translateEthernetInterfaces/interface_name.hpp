#pragma once

#include <qm/pci_topology.h>

#include <string>

namespace qm::ethernet {

/// The kernel's name of an Ethernet function's network interface; empty when it has none.
std::string interfaceName(const qm_topo_node& device);

}  // namespace qm::ethernet
