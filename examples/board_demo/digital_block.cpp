#include "digital_block.hpp"

namespace demo {

void DigitalBlock::step(uint32_t pattern)
{
    board_->write(Register::liveness, pattern);
    const uint32_t answer = board_->read(Register::liveness);
    if (answer == ~pattern) {
        ++verified_;
        return;
    }
    qmError_setMsg(error(), "wrote 0x%08x, read 0x%08x, expected 0x%08x", pattern, answer, ~pattern);
    fail();
}

}  // namespace demo
