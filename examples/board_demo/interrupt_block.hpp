#pragma once

#include "block.hpp"
#include "dma_block.hpp"
#include <slrealtime/Standalone.hpp>

#include <atomic>

namespace demo {

/// Raises interrupts on the board and receives all that the board sends.
///
/// One thread raises, another waits and receives.
class InterruptBlock : public Block
{
public:
    InterruptBlock(uint32_t moduleId, DmaBlock& dma, ModelError& modelError)
        : Block("Interrupt", moduleId, modelError), dma_(dma)
    {}

    /// @param drivesBaseRate places the kernel's interrupt thread for a base rate instead of a task beside it
    /// @param priority       of the task that receives
    void start(bool drivesBaseRate, int priority);
    void terminate();

    /// Raises an interrupt unless the last one is still to be received.
    void raise();

    /// Enables the interrupt and waits for it; interrupts of a DMA transfer go to its block.
    /// @return whether a raised one has come: receive() it
    bool wait();
    void receive();

    /// Receives the interrupt that the end of the run may have overtaken. After the last wait().
    void collectLast();

    [[nodiscard]] uint64_t raised() const { return raised_; }
    [[nodiscard]] uint64_t received() const { return received_; }
    /// From raise() to receive().
    [[nodiscard]] slrealtime::standalone::TimeStatistics latency() const { return latency_.statistics(); }

private:
    [[nodiscard]] bool enable();
    [[nodiscard]] bool acknowledge();
    void failWith(const char* library);

    DmaBlock& dma_;
    const Board* board_ = nullptr;
    qm_InterruptContext* context_ = nullptr;
    std::atomic<int64_t> pendingSince_ = 0;  ///< when the interrupt under way was raised; 0: none is
    bool arrived_ = false;                   ///< and wait() has seen it
    uint64_t raised_ = 0;
    uint64_t received_ = 0;
    slrealtime::standalone::TimeRecorder latency_;
};

}  // namespace demo
