#include "board.hpp"

namespace demo {

namespace {

constexpr int kDmaWaits = 100;  // a transfer takes about 100 ms
constexpr double kDmaWait = 0.01;

}  // namespace

uint32_t Board::read(Register which) const
{
    return registers[static_cast<std::size_t>(which) / sizeof(uint32_t)];
}

void Board::write(Register which, uint32_t value) const
{
    registers[static_cast<std::size_t>(which) / sizeof(uint32_t)] = value;
}

bool Board::quiesce() const
{
    for (int i = 0; i < kDmaWaits && (read(Register::dmaCommand) & kDmaRunning) != 0; ++i)
        qm_wait_s(kDmaWait);
    write(Register::interruptAcknowledge, read(Register::interruptStatus));
    return (read(Register::dmaCommand) & kDmaRunning) == 0;
}

Board* findBoard(uint32_t moduleId)
{
    return static_cast<Board*>(qm_module_get_custom_data(kModuleType, moduleId));
}

}  // namespace demo
