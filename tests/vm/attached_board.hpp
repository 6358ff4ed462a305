#pragma once

#include "modules/edu.hpp"
#include <qm.h>

#include <memory>
#include <string>

namespace qm::test {

constexpr uint32_t kSlot = 3, kOtherSlot = 7;  // both on one interrupt line

/// The library's record of the example board in a slot; the test fails without one.
qm_PCIDevice exampleIn(uint32_t slot);

/// An example board that the library has attached: its interrupt is disabled, nothing is pending.
class AttachedBoard
{
public:
    explicit AttachedBoard(uint32_t slot = kSlot);
    AttachedBoard(const AttachedBoard&) = delete;
    AttachedBoard& operator=(const AttachedBoard&) = delete;
    ~AttachedBoard() { detach(); }

    [[nodiscard]] qm_InterruptContext* context() const { return context_; }
    [[nodiscard]] Edu& edu() const { return *edu_; }

    /// Waits for an interrupt: the kernel's count, or the library's negative result.
    [[nodiscard]] int wait() const;
    /// Whether an interrupt comes within a time in which one that comes at all has come.
    [[nodiscard]] bool isInterrupted() const;
    /// Raises an interrupt and handles it as a model does, disabled before and afterwards; the count.
    [[nodiscard]] int receiveOne() const;
    void detach();

    [[nodiscard]] pid_t interruptThread() const;
    /// The CPUs that the kernel's file names for the interrupt.
    [[nodiscard]] std::string affinity() const;

private:
    qm_InterruptContext* context_ = nullptr;
    std::unique_ptr<Edu> edu_;
};

}  // namespace qm::test
