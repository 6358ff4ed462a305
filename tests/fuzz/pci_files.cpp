// A board's text files in sysfs: identifiers, class, interrupt, resources, whether it is enabled.

#include "input.hpp"
#include "pci_errors.hpp"
#include "world.hpp"

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    using namespace qm::test;
    static World world;
    const qm::fuzz::Log log;
    const qm::fuzz::Leftovers leftovers;
    const auto [vendor, device, classCode, irq, resource, enabled] = qm::fuzz::texts<6>(data, size);
    world.add(board(0x1234, 0x11E8).at(3, 0).bar(0, 0xFEB00000, 0x1000));
    const auto folder = World::directory("0000:03:00.0");
    sandbox::writeFile(folder / "vendor", vendor);
    sandbox::writeFile(folder / "device", device);
    sandbox::writeFile(folder / "class", classCode);
    sandbox::writeFile(folder / "irq", irq);
    sandbox::writeFile(folder / "resource", resource);
    sandbox::writeFile(folder / "enable", enabled);

    qm::fuzz::surviveLibpci([] {
        qm_PCIDevice found{};
        if (qm_detectPciDeviceAtSlot(&found, "board", 0x1234, 0x11E8, 0xFFFF, 0xFFFF, 3, 0) != 0) return;
        qm_showPciDevice(&found);
        void* const registers = qm_mapMemory(&found, 0);
        const uintptr_t offset = found.BaseAddress[0] & 0xFFF;
        if (registers != nullptr)
            qm::fuzz::require(munmap(static_cast<char*>(registers) - offset, found.Length[0] + offset) == 0);
    });
    return 0;
}
