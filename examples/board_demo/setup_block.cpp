#include "setup_block.hpp"

#include <fmt/core.h>

#include <cstdlib>

namespace demo {

namespace {

volatile uint32_t* mapRegisters(qm_PCIDevice& pci)
{
    return static_cast<volatile uint32_t*>(qm_mapMemory(&pci, kRegisterBar));
}

}  // namespace

bool SetupBlock::find(qm_PCIDevice& pci)
{
    return qm_findPciDevice(&pci, kBoardName, kVendorId, kDeviceId, QM_PCI_ANY_ID, QM_PCI_ANY_ID,
                            location_.position, location_.bus, location_.slot) == 0;
}

void SetupBlock::prepareEarly()
{
    Board board{};
    if (!find(board.pci)) return;  // start() reports it
    board.registers = mapRegisters(board.pci);
    if (board.registers == nullptr) return;
    prepared_ = board.quiesce();
}

void SetupBlock::start()
{
    qm_PCIDevice pci{};
    if (!find(pci)) {
        qmError_extractMsg(error(), pQmErrorStr);
        fail();
        qm_printf(
            qm_error,
            "Hint: `lspci -nn -d %04x:%04x` shows the boards that the kernel sees; --position, --bus and "
            "--slot choose among several, --without-board runs the model without one.\n",
            kVendorId, kDeviceId);
        return;
    }
    volatile uint32_t* const registers = mapRegisters(pci);
    if (registers == nullptr) {
        qmError_setMsg(error(), "BAR %u cannot be mapped; the log says why (root rights are needed)",
                       kRegisterBar);
        fail();
        return;
    }
    if (!registerBoard(pci, registers)) return;
    const uint32_t identification = findBoard(moduleId())->read(Register::identification);
    if ((identification & kIdentificationMask) != kIdentification) {
        qmError_setMsg(error(), "the board identifies itself as 0x%08x, expected 0xRRrr00ed", identification);
        fail();
    }
}

bool SetupBlock::registerBoard(const qm_PCIDevice& pci, volatile uint32_t* registers)
{
    qm_mod_info* const module = qm_module_register(kModuleType, moduleId());
    if (module == nullptr) {
        qmError_extractMsg(error(), pQmErrorStr);
        fail();
        return false;
    }
    module->is_initiator = true;
    module->pci_bus = static_cast<int32_t>(pci.bus);
    module->pci_slot = static_cast<int32_t>(pci.slot);
    auto* const board = static_cast<Board*>(qm_module_alloc_custom_data(module, sizeof(Board)));
    if (board == nullptr) {
        qmError_setMsg(error(), "out of memory");
        fail();
        return false;
    }
    *board = Board{pci, registers};
    return true;
}

void SetupBlock::terminate()
{
    std::free(qm_module_get_custom_data(kModuleType, moduleId()));
    qm_module_unregister(kModuleType, moduleId());
}

std::string SetupBlock::describe() const
{
    const Board* const board = findBoard(moduleId());
    if (board == nullptr) return "none";
    const qm_PCIDevice& pci = board->pci;
    return fmt::format("{:02x}:{:02x}.0 {:04x}:{:04x}, BAR {} at 0x{:08x}, {} KiB, identification 0x{:08x}{}",
                       pci.bus, pci.slot, pci.VendorId, pci.DeviceId, kRegisterBar,
                       pci.BaseAddress[kRegisterBar], pci.Length[kRegisterBar] / 1024,
                       board->read(Register::identification), prepared_ ? ", prepared early" : "");
}

}  // namespace demo
