#include "factorial_block.hpp"

namespace demo {

namespace {

constexpr uint32_t kLargest = 12;  // 13! needs more than 32 bits

uint32_t factorial(uint32_t n)
{
    return n < 2 ? 1 : n * factorial(n - 1);
}

}  // namespace

void FactorialBlock::step()
{
    if ((board_->read(Register::status) & kComputing) != 0) return;  // not ready: look again in the next step
    if (argument_ != 0) {
        const uint32_t result = board_->read(Register::factorial);
        if (result != factorial(argument_)) {
            qmError_setMsg(error(), "%u! is %u, the board says %u", argument_, factorial(argument_), result);
            fail();
            return;
        }
        ++verified_;
    }
    argument_ = argument_ % kLargest + 1;
    board_->write(Register::factorial, argument_);
}

}  // namespace demo
