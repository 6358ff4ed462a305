#pragma once

extern "C" {  // libpci's header does not say so itself
#include <pci/pci.h>
}

#include <cstdint>

namespace qm::pci {

/// What a device of a search is asked for.
constexpr int kIdentity = PCI_FILL_IDENT | PCI_FILL_BASES | PCI_FILL_SIZES | PCI_FILL_CLASS;

/// Makes libpci's object and lists the devices of all buses, in libpci's order.
pci_access* newScan();

/// A scan of one call's own.
class PrivateScan
{
public:
    PrivateScan() : access_(newScan()) {}
    ~PrivateScan();
    PrivateScan(const PrivateScan&) = delete;
    PrivateScan& operator=(const PrivateScan&) = delete;

    [[nodiscard]] pci_access* get() const { return access_; }
    [[nodiscard]] pci_dev* devices() const { return access_->devices; }

    /// The listed device at domain 0000, function 0; null when absent.
    [[nodiscard]] pci_dev* find(uint32_t bus, uint32_t slot) const;

private:
    pci_access* access_;
};

/// A handle on one PCI function for configuration reads, present or not. libpci keeps the configuration file
/// of the device it read last open; releasing the handle closes it.
class ConfigReader
{
public:
    ConfigReader(pci_access* access, int domain, int bus, int slot, int function)
        : device_(pci_get_dev(access, domain, bus, slot, function))
    {}
    ~ConfigReader();
    ConfigReader(const ConfigReader&) = delete;
    ConfigReader& operator=(const ConfigReader&) = delete;

    [[nodiscard]] uint16_t word(int offset) const { return pci_read_word(device_, offset); }
    [[nodiscard]] uint32_t dword(int offset) const { return pci_read_long(device_, offset); }
    /// Configuration offset of a capability, 0 when the device has none of that kind.
    [[nodiscard]] int capability(unsigned int id) const;

private:
    pci_dev* device_;
};

}  // namespace qm::pci

/// The process's one scan, made at first use and never released, in ascending order of bus, slot and
/// function. Devices that are plugged in later are never seen. Not safe against a first call from two threads
/// at once.
pci_access* qm_pci_access();
