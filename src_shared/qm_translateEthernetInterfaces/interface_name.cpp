#include "qm_translateEthernetInterfaces/interface_name.hpp"

#include "qm_string_utils.hpp"

#include <systemd/sd-device.h>

#include <memory>

namespace {

struct Unref
{
    void operator()(sd_device* device) const { sd_device_unref(device); }
    void operator()(sd_device_enumerator* enumerator) const { sd_device_enumerator_unref(enumerator); }
};

using Device = std::unique_ptr<sd_device, Unref>;
using Enumerator = std::unique_ptr<sd_device_enumerator, Unref>;

/// Null when the kernel does not show the function.
Device newPciDevice(const std::string& address)
{
    sd_device* device = nullptr;
    return Device(sd_device_new_from_subsystem_sysname(&device, "pci", address.c_str()) < 0 ? nullptr
                                                                                            : device);
}

Enumerator newEnumerator()
{
    sd_device_enumerator* enumerator = nullptr;
    return Enumerator(sd_device_enumerator_new(&enumerator) < 0 ? nullptr : enumerator);
}

}  // namespace

namespace qm::ethernet {

std::string interfaceName(const qm_topo_node& device)
{
    const Device pci =
        newPciDevice(utils::formatString("0000:%02x:%02x.%x", device.bus, device.slot, device.func));
    if (pci == nullptr) return {};
    const Enumerator found = newEnumerator();
    constexpr int kMatch = 1;
    if (found == nullptr || sd_device_enumerator_add_match_subsystem(found.get(), "net", kMatch) < 0 ||
        sd_device_enumerator_add_match_parent(found.get(), pci.get()) < 0)
        return {};
    sd_device* const net = sd_device_enumerator_get_device_first(found.get());
    const char* name = nullptr;
    if (net == nullptr || sd_device_get_sysname(net, &name) < 0) return {};
    return name;
}

}  // namespace qm::ethernet
