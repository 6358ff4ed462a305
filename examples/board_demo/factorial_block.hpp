#pragma once

#include "block.hpp"

namespace demo {

/// Lets the board compute a factorial from one step to the next and checks the result.
class FactorialBlock : public Block
{
public:
    FactorialBlock(uint32_t moduleId, ModelError& modelError) : Block("Factorial", moduleId, modelError) {}

    void start() { board_ = openBoard(); }
    void step();

    [[nodiscard]] uint64_t verified() const { return verified_; }

private:
    const Board* board_ = nullptr;
    uint32_t argument_ = 0;  ///< what the board was asked for; 0: nothing yet
    uint64_t verified_ = 0;
};

}  // namespace demo
