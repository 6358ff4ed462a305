#include "qm_common/device_database.hpp"

namespace {

constexpr int kMatching = 1;

}  // namespace

namespace qm {

Device pciDevice(const char* address)
{
    sd_device* device = nullptr;
    return Device(sd_device_new_from_subsystem_sysname(&device, "pci", address) < 0 ? nullptr : device);
}

DeviceEnumerator devicesOf(const char* subsystem)
{
    sd_device_enumerator* created = nullptr;
    if (sd_device_enumerator_new(&created) < 0) return nullptr;
    DeviceEnumerator devices(created);
    if (sd_device_enumerator_add_match_subsystem(created, subsystem, kMatching) < 0) return nullptr;
    return devices;
}

DeviceEnumerator devicesBelow(sd_device& parent, const char* subsystem)
{
    DeviceEnumerator devices = devicesOf(subsystem);
    if (devices != nullptr && sd_device_enumerator_add_match_parent(devices.get(), &parent) < 0)
        return nullptr;
    return devices;
}

DeviceEnumerator devicesWith(const char* attribute, const char* text, const char* subsystem)
{
    DeviceEnumerator devices = devicesOf(subsystem);
    if (devices != nullptr &&
        sd_device_enumerator_add_match_sysattr(devices.get(), attribute, text, kMatching) < 0)
        return nullptr;
    return devices;
}

}  // namespace qm
