#include "qm_translateEthernetInterfaces/interface_name.hpp"

#include "qm_common/device_database.hpp"
#include "qm_string_utils.hpp"

namespace qm::ethernet {

std::string interfaceName(const qm_topo_node& device)
{
    const Device pci =
        pciDevice(utils::formatString("0000:%02x:%02x.%x", device.bus, device.slot, device.func).c_str());
    if (pci == nullptr) return {};
    const DeviceEnumerator found = devicesBelow(*pci, "net");
    sd_device* const net = found != nullptr ? sd_device_enumerator_get_device_first(found.get()) : nullptr;
    const char* name = nullptr;
    if (net == nullptr || sd_device_get_sysname(net, &name) < 0) return {};
    return name;
}

}  // namespace qm::ethernet
