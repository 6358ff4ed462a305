#pragma once

#include "block.hpp"

#include <atomic>

namespace demo {

/// Lets the board copy a buffer into its own memory and back, and compares every byte.
///
/// One thread starts a round trip, the thread that receives the board's interrupts goes on with it.
class DmaBlock : public Block
{
public:
    DmaBlock(uint32_t moduleId, ModelError& modelError) : Block("DMA", moduleId, modelError) {}

    void start();
    void terminate();

    /// Starts the next round trip when none is under way.
    void step();
    /// The board has said that a transfer has ended.
    void transferred();

    [[nodiscard]] uint64_t moved() const { return moved_; }
    [[nodiscard]] uint64_t verified() const { return verified_; }

private:
    enum class State
    {
        idle,
        toBoard,
        fromBoard
    };

    void transfer(uint32_t source, uint32_t destination, uint32_t direction);
    void verify();
    [[nodiscard]] uint8_t pattern(uint32_t at) const;

    const Board* board_ = nullptr;
    uint8_t* buffer_ = nullptr;
    uint32_t busAddress_ = 0;
    uint32_t roundTrip_ = 0;
    std::atomic<State> state_ = State::idle;
    uint64_t moved_ = 0;
    uint64_t verified_ = 0;
};

}  // namespace demo
