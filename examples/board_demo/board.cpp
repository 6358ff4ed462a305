#include "board.hpp"

namespace demo {

uint32_t Board::read(Register which) const
{
    return registers[static_cast<std::size_t>(which) / sizeof(uint32_t)];
}

void Board::write(Register which, uint32_t value) const
{
    registers[static_cast<std::size_t>(which) / sizeof(uint32_t)] = value;
}

Board* findBoard(uint32_t moduleId)
{
    return static_cast<Board*>(qm_module_get_custom_data(kModuleType, moduleId));
}

}  // namespace demo
