#pragma once

#include "kernel.hpp"

#include <optional>

/// The emulated example board, driven through its registers and its UIO node.
namespace qm::test {

constexpr char kDriverFolder[] = "/sys/bus/pci/drivers/uio_quillmark/";

/// Teaches the driver the board's identifiers; 0 or the errno.
int teachIds();

class Edu
{
public:
    static constexpr uint32_t kStatus = 0x20, kComputationInterrupts = 0x80;

    /// The driver has taken the board already. Nothing is pending, and it is armed.
    explicit Edu(uint32_t slot);

    static std::filesystem::path folder(uint32_t slot);
    /// Empty where no UIO driver has the board.
    static std::string uioNode(uint32_t slot);

    [[nodiscard]] std::string uioName() const;
    [[nodiscard]] std::string irq() const;
    [[nodiscard]] const Mapping& registers() const { return registers_; }
    [[nodiscard]] const File& uio() const { return uio_; }

    void raise(uint32_t causes) { registers_.word(0x60) = causes; }
    void acknowledge() { registers_.word(0x64) = ~0U; }
    void compute(uint32_t factorialOf);
    enum class Direction
    {
        toBoard = 0,
        toMemory = 2
    };
    static constexpr uint32_t kTransfer =
        4092;  // the board does not reach its buffer's last byte, and QEMU dies trying
    /// Starts moving kTransfer bytes between the memory and the board's own buffer; raises an interrupt at
    /// the end.
    void startTransfer(uint64_t busAddress, Direction direction);

    [[nodiscard]] bool interruptDisabled() const;
    /// As models do it: the upper byte of the command register alone.
    void enableInterrupt() const;
    void disableInterrupt() const;
    /// The running count at the next interrupt; none when none comes within the time.
    [[nodiscard]] std::optional<uint32_t> nextCount(int milliseconds = 10'000) const;
    /// As they are written: 0 or the errno.
    [[nodiscard]] int useFix(uint32_t variant, uint32_t mask) const;

private:
    Mapping registers_;
    File uio_;
    File config_;
    std::filesystem::path uioFolder_;
};

}  // namespace qm::test
