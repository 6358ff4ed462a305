#pragma once

#include "machine.hpp"

#include <poll.h>

namespace qm::test {

constexpr uint32_t kSlot = 3, kOtherSlot = 7;  // both on one interrupt line

/// The library's record of the example board in a slot; the test fails without one.
inline qm_PCIDevice exampleIn(uint32_t slot)
{
    qm_PCIDevice board{};
    EXPECT_EQ(0, qm_detectPciDeviceAtSlot(&board, "example", 0x1234, 0x11E8, QM_PCI_ANY_ID, QM_PCI_ANY_ID, 0,
                                          static_cast<int>(slot)))
        << pQmErrorStr;
    return board;
}

/// An example board that the library has attached: its interrupt is disabled.
class AttachedBoard
{
public:
    static constexpr uint32_t kStatus = 0x20, kComputationInterrupts = 0x80;

    explicit AttachedBoard(uint32_t slot = kSlot) : address_(address(0, slot))
    {
        qm_PCIDevice board = exampleIn(slot);
        EXPECT_EQ(0, qm_uio_createInterruptContext(&context_, &board)) << pQmErrorStr;
        EXPECT_EQ(0, qm_uio_interruptAttach(context_)) << pQmErrorStr;
        registers_ = static_cast<volatile uint32_t*>(qm_mapMemory(&context_->pciInfo, 0));
    }
    AttachedBoard(const AttachedBoard&) = delete;
    AttachedBoard& operator=(const AttachedBoard&) = delete;
    /// Nothing stays pending.
    ~AttachedBoard()
    {
        word(kStatus) = 0;
        acknowledge();
        detach();
    }

    [[nodiscard]] qm_InterruptContext* context() const { return context_; }
    [[nodiscard]] volatile uint32_t& word(uint32_t offset) const { return registers_[offset / 4]; }

    void raise(uint32_t causes) const { word(0x60) = causes; }
    void acknowledge() const { word(0x64) = ~0U; }
    void compute(uint32_t factorialOf) const
    {
        word(0x08) = factorialOf;
        while ((word(kStatus) & 1U) != 0) {
        }
    }
    enum class Direction
    {
        toBoard = 0,
        toMemory = 2
    };
    static constexpr uint32_t kTransfer =
        4092;  // the board does not reach its buffer's last byte, and QEMU dies trying
    /// Starts moving kTransfer bytes between the memory and the board's own buffer; raises an interrupt at
    /// the end.
    void startTransfer(uint64_t busAddress, Direction direction) const
    {
        constexpr uint32_t kBuffer = 0x40000, kRun = 1, kInterruptAtEnd = 4;
        const auto memory = static_cast<uint32_t>(busAddress);
        const bool toBoard = direction == Direction::toBoard;
        word(0x80) = toBoard ? memory : kBuffer;
        word(0x88) = toBoard ? kBuffer : memory;
        word(0x90) = kTransfer;
        word(0x98) = kRun | kInterruptAtEnd | static_cast<uint32_t>(direction);
    }

    /// Waits for an interrupt: the kernel's count, or the library's negative result.
    [[nodiscard]] int wait() const
    {
        const int result = qm_uio_interruptWait(context_);
        return result == 0 ? context_->intCount : result;
    }
    /// Whether an interrupt comes within a time in which one that comes at all has come.
    [[nodiscard]] bool isInterrupted() const
    {
        constexpr int kNotLong = 100;  // ms
        pollfd uio{context_->uiofd, POLLIN, 0};
        return ::poll(&uio, 1, kNotLong) == 1;
    }
    /// Raises an interrupt and handles it as a model does, disabled before and afterwards; the count.
    [[nodiscard]] int receiveOne() const
    {
        EXPECT_EQ(0, qm_uio_enableInterrupt(context_)) << pQmErrorStr;
        raise(1);
        const int count = wait();
        acknowledge();
        return count;
    }
    void detach() { qm_uio_interruptDetach(std::exchange(context_, nullptr)); }

    /// By the command register.
    [[nodiscard]] bool interruptDisabled() const
    {
        constexpr unsigned kDisable = 4;
        return (static_cast<unsigned>(readFile(folderOf(address_) / "config").at(5)) & kDisable) != 0;
    }
    [[nodiscard]] std::string irq() const
    {
        return linesOf("cat " + (folderOf(address_) / "irq").string()).at(0);
    }
    [[nodiscard]] pid_t interruptThread() const
    {
        // In /proc/123/comm: "irq/23-qm00030"
        const std::string name = "irq/" + irq() + "-qm00" + address_.substr(3, 2) + "0";
        return std::stoi(outputOf("grep -slx '" + name + "' /proc/[0-9]*/comm || true").substr(6));
    }
    /// The CPUs that the kernel's file names for the interrupt.
    [[nodiscard]] std::string affinity() const
    {
        return readFile("/proc/irq/" + irq() + "/smp_affinity_list");
    }

private:
    std::string address_;
    qm_InterruptContext* context_ = nullptr;
    volatile uint32_t* registers_ = nullptr;
};

}  // namespace qm::test
