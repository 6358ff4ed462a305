#pragma once

#include "qm_translateEthernetInterfaces/ethernet_devices.hpp"
#include <qm/target.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace qm::ethernet {

/// What a group of Ethernet ports belongs to.
enum IoModuleType : uint32_t
{
    ONBOARD = 0,
    NX90 = 1,
    NX90_11 = 2,
    NX60 = 3,
    NX50 = 4,
    NX48 = 5,
    NX46 = 6,
    NX44 = 7,
    NX42 = 8,
    NX40 = 9,
    NX40_10 = 10,
    NX22 = 11,
    NX20 = 12
};

/// By IoModuleType.
inline constexpr std::array kIoModules = {"Onboard", "NX90", "NX90-11", "NX60",    "NX50", "NX48", "NX46",
                                          "NX44",    "NX42", "NX40",    "NX40-10", "NX22", "NX20"};

/// The module or onboard group at a position of the device list, and how many entries from there belong to
/// it.
struct EthInterface
{
    IoModuleType ioModule;
    uint8_t nPorts;
};

/// Recognises what begins at a position of the list on a computer of this model.
EthInterface isEthernetModule(const EthernetDevices& devices, std::size_t position, qm_TargetType target);

}  // namespace qm::ethernet
