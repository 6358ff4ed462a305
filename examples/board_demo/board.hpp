#pragma once

#include <qm.h>

#include <cstddef>
#include <cstdint>

/// The board that this model uses: what its blocks share, and its registers.
namespace demo {

constexpr char kBoardName[] = "EDU";
constexpr uint16_t kVendorId = 0x1234;
constexpr uint16_t kDeviceId = 0x11E8;
constexpr uint32_t kRegisterBar = 0;

/// Key of the board in the module registry.
constexpr uint32_t kModuleType = 1;

/// Registers in BAR 0, 32 bits each.
enum class Register : std::size_t
{
    identification = 0x00,        ///< 0xRRrr00ED: major and minor revision
    liveness = 0x04,              ///< reads the inverse of what was written
    factorial = 0x08,             ///< write n, read n! when the status says so
    status = 0x20,                ///< bit 0: computing
    interruptStatus = 0x24,       ///< causes, ORed together
    interruptRaise = 0x60,        ///< the written bits become causes
    interruptAcknowledge = 0x64,  ///< the written bits are causes no more
    dmaSource = 0x80,
    dmaDestination = 0x88,
    dmaCount = 0x90,
    dmaCommand = 0x98
};

/// Bit of the DMA command that starts a transfer and reads 1 until it ends.
constexpr uint32_t kDmaRunning = 0x1;

/// Causes of an interrupt.
constexpr uint32_t kRaised = 0x001;
constexpr uint32_t kDmaDone = 0x100;

constexpr uint32_t kIdentificationMask = 0x0000FFFF;
constexpr uint32_t kIdentification = 0x000000ED;
constexpr uint32_t kComputing = 0x01;

/// What the blocks of one board share: the module's custom data.
struct Board
{
    qm_PCIDevice pci;
    volatile uint32_t* registers;

    [[nodiscard]] uint32_t read(Register which) const;
    void write(Register which, uint32_t value) const;
    /// Ends a transfer that is under way, by waiting for it, and takes its interrupt back.
    /// @return whether the board is at rest: its memory may be freed
    [[nodiscard]] bool quiesce() const;
};

/// Where to look for the board: by position among equal boards, or at a bus and slot.
struct BoardLocation
{
    int position = 1;
    int bus = 0;
    int slot = -1;  ///< negative: by position
};

/// The board that a setup block has registered; null when none has.
Board* findBoard(uint32_t moduleId);

}  // namespace demo
