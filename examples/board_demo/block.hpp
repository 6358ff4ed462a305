#pragma once

#include "board.hpp"
#include <qm.h>

#include <memory>

namespace demo {

/// Where a block reports what stops the model: a text that outlives the block's call.
using ModelError = const char*;

/// What every driver block has: the module it belongs to and an error text of its own.
class Block
{
public:
    Block(const char* name, uint32_t moduleId, ModelError& modelError)
        : moduleId_(moduleId), error_(qmError_new(), qmError_delete), modelError_(modelError)
    {
        qmError_setPreamble(error_.get(), "EDU", name, static_cast<int32_t>(moduleId));
    }

protected:
    /// Stops the model with the text that was set in error().
    void fail() { modelError_ = qmError_getMsg(error_.get()); }
    /// The board that the model's setup block has opened; null, and the model stops, when none has.
    [[nodiscard]] const Board* openBoard()
    {
        const Board* const board = findBoard(moduleId_);
        if (board != nullptr) return board;
        qmError_setMsg(error_.get(), "no setup block has opened the board");
        fail();
        return nullptr;
    }
    [[nodiscard]] QmError* error() const { return error_.get(); }
    [[nodiscard]] uint32_t moduleId() const { return moduleId_; }

private:
    uint32_t moduleId_;
    std::unique_ptr<QmError, void (*)(QmError*)> error_;
    ModelError& modelError_;
};

}  // namespace demo
