#pragma once

#include "block.hpp"

namespace demo {

/// Writes a pattern to the board in every step and reads the inverse back.
class DigitalBlock : public Block
{
public:
    DigitalBlock(uint32_t moduleId, ModelError& modelError) : Block("Digital", moduleId, modelError) {}

    void start() { board_ = openBoard(); }
    void step(uint32_t pattern);

    [[nodiscard]] uint64_t verified() const { return verified_; }

private:
    const Board* board_ = nullptr;
    uint64_t verified_ = 0;
};

}  // namespace demo
