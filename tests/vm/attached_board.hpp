#pragma once

#include <qm.h>

#include <string>

namespace qm::test {

constexpr uint32_t kSlot = 3, kOtherSlot = 7;  // both on one interrupt line

/// The library's record of the example board in a slot; the test fails without one.
qm_PCIDevice exampleIn(uint32_t slot);

/// An example board that the library has attached: its interrupt is disabled.
class AttachedBoard
{
public:
    static constexpr uint32_t kStatus = 0x20, kComputationInterrupts = 0x80;

    explicit AttachedBoard(uint32_t slot = kSlot);
    AttachedBoard(const AttachedBoard&) = delete;
    AttachedBoard& operator=(const AttachedBoard&) = delete;
    /// Nothing stays pending.
    ~AttachedBoard();

    [[nodiscard]] qm_InterruptContext* context() const { return context_; }
    [[nodiscard]] volatile uint32_t& word(uint32_t offset) const { return registers_[offset / 4]; }

    void raise(uint32_t causes) const { word(0x60) = causes; }
    void acknowledge() const { word(0x64) = ~0U; }
    void compute(uint32_t factorialOf) const;
    enum class Direction
    {
        toBoard = 0,
        toMemory = 2
    };
    static constexpr uint32_t kTransfer =
        4092;  // the board does not reach its buffer's last byte, and QEMU dies trying
    /// Starts moving kTransfer bytes between the memory and the board's own buffer; raises an interrupt at
    /// the end.
    void startTransfer(uint64_t busAddress, Direction direction) const;

    /// Waits for an interrupt: the kernel's count, or the library's negative result.
    [[nodiscard]] int wait() const;
    /// Whether an interrupt comes within a time in which one that comes at all has come.
    [[nodiscard]] bool isInterrupted() const;
    /// Raises an interrupt and handles it as a model does, disabled before and afterwards; the count.
    [[nodiscard]] int receiveOne() const;
    void detach();

    /// By the command register.
    [[nodiscard]] bool interruptDisabled() const;
    [[nodiscard]] std::string irq() const;
    [[nodiscard]] pid_t interruptThread() const;
    /// The CPUs that the kernel's file names for the interrupt.
    [[nodiscard]] std::string affinity() const;

private:
    std::string address_;
    qm_InterruptContext* context_ = nullptr;
    volatile uint32_t* registers_ = nullptr;
};

}  // namespace qm::test
