#pragma once

#include <systemd/sd-device.h>

#include <memory>

/// The udev device database: what the kernel shows and udev has announced.
namespace qm {

struct Unreference
{
    void operator()(sd_device* device) const { sd_device_unref(device); }
    void operator()(sd_device_enumerator* enumerator) const { sd_device_enumerator_unref(enumerator); }
};

using Device = std::unique_ptr<sd_device, Unreference>;
/// Owns the devices that it enumerates, and their texts.
using DeviceEnumerator = std::unique_ptr<sd_device_enumerator, Unreference>;

/// A PCI function by its address; null when there is none.
Device pciDevice(const char* address);

/// Enumerates a subsystem; null when it cannot.
DeviceEnumerator devicesOf(const char* subsystem);
/// The same, below a device only.
DeviceEnumerator devicesBelow(sd_device& parent, const char* subsystem);
/// The same, with this text in a sysfs attribute only.
DeviceEnumerator devicesWith(const char* attribute, const char* text, const char* subsystem);

}  // namespace qm
