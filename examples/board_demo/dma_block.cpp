#include "dma_block.hpp"

#include <cstring>

namespace demo {

namespace {

constexpr uint32_t kBytes = 2048;  // of the board's 4096, of which the emulated board refuses the last one
constexpr uint32_t kBoardMemory = 0x40000;

/// Bits of the DMA command.
constexpr uint32_t kToBoard = 0x0;
constexpr uint32_t kFromBoard = 0x2;
constexpr uint32_t kInterruptWhenDone = 0x4;

}  // namespace

void DmaBlock::start()
{
    board_ = openBoard();
    if (board_ == nullptr) return;
    uintptr_t busAddress = 0;
    buffer_ = static_cast<uint8_t*>(qm_allocPhysicalMemory_v2(kBytes, &busAddress));
    if (buffer_ == nullptr) {
        qmError_setMsg(error(), "no DMA buffer; the log says why (the kernel needs the u-dma-buf manager)");
        fail();
        return;
    }
    busAddress_ = static_cast<uint32_t>(busAddress);
    if (busAddress_ != busAddress) {
        qmError_setMsg(error(), "the DMA buffer at 0x%llx is out of the board's reach of 4 GiB",
                       static_cast<unsigned long long>(busAddress));
        fail();
    }
}

void DmaBlock::terminate()
{
    // A board that still writes keeps its buffer: the next run's first allocation takes it away.
    if (buffer_ != nullptr && board_->quiesce()) qm_freePhysicalMemory(buffer_);
    buffer_ = nullptr;
}

void DmaBlock::step()
{
    if (state_ != State::idle) return;
    ++roundTrip_;
    for (uint32_t i = 0; i < kBytes; ++i)
        buffer_[i] = pattern(i);
    state_ = State::toBoard;
    transfer(busAddress_, kBoardMemory, kToBoard);
}

void DmaBlock::transferred()
{
    moved_ += kBytes;
    if (state_ == State::toBoard) {
        std::memset(buffer_, 0, kBytes);
        state_ = State::fromBoard;
        transfer(kBoardMemory, busAddress_, kFromBoard);
    } else {
        verify();
        state_ = State::idle;
    }
}

void DmaBlock::transfer(uint32_t source, uint32_t destination, uint32_t direction)
{
    board_->write(Register::dmaSource, source);
    board_->write(Register::dmaDestination, destination);
    board_->write(Register::dmaCount, kBytes);
    board_->write(Register::dmaCommand, kDmaRunning | direction | kInterruptWhenDone);
}

void DmaBlock::verify()
{
    for (uint32_t i = 0; i < kBytes; ++i) {
        if (buffer_[i] != pattern(i)) {
            qmError_setMsg(error(), "round trip %u: byte %u is 0x%02x, expected 0x%02x", roundTrip_, i,
                           buffer_[i], pattern(i));
            fail();
            return;
        }
    }
    verified_ += kBytes;
}

// Another one in every round trip, so that nothing left over can pass.
uint8_t DmaBlock::pattern(uint32_t at) const
{
    return static_cast<uint8_t>((at + roundTrip_) * 167U + (at >> 8));
}

}  // namespace demo
