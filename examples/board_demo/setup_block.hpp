#pragma once

#include "block.hpp"
#include "board.hpp"

#include <string>

namespace demo {

/// Opens the board for all blocks of the model. Comes first in the model, and terminates last.
class SetupBlock : public Block
{
public:
    SetupBlock(uint32_t moduleId, const BoardLocation& location, ModelError& modelError)
        : Block("Setup", moduleId, modelError), location_(location)
    {}

    /// Clears what an earlier run may have left on the board. Runs before the model's own initialisation.
    void prepareEarly();

    void start();
    void terminate();

    /// The board in a line for the report.
    [[nodiscard]] std::string describe() const;

private:
    bool find(qm_PCIDevice& pci);
    bool registerBoard(const qm_PCIDevice& pci, volatile uint32_t* registers);

    BoardLocation location_;
    bool prepared_ = false;
};

}  // namespace demo
