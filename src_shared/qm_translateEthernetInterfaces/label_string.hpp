#pragma once

#include "qm_translateEthernetInterfaces/ethernet_devices.hpp"
#include <qm/target.h>

#include <string>

namespace qm::ethernet {

/// "name:index:label;" for every port of the list that has a label on a computer of this model.
std::string labelString(const EthernetDevices& devices, qm_TargetType target);

}  // namespace qm::ethernet
