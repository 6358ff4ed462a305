#pragma once

#include "block.hpp"

#include <optional>
#include <string>

namespace demo {

/// Keeps what must outlive a run of the model: how often it ran since it was loaded, and a gain that the
/// engineer has set. Another model, or a freshly loaded one, starts from nothing.
class CalibrationBlock : public Block
{
public:
    CalibrationBlock(uint32_t moduleId, ModelError& modelError) : Block("Calibration", moduleId, modelError)
    {}

    /// Takes over what the last run has left, or starts from nothing. After qm_initModelRun().
    /// @param gain fills the table anew, for this run and those that follow
    void start(std::optional<double> gain);

    /// What to put out for a value; both from -1 to 1.
    [[nodiscard]] double correct(double value) const;

    [[nodiscard]] uint64_t runs() const { return state_ != nullptr ? state_->runs : 0; }
    /// The table in a line for the report.
    [[nodiscard]] std::string describe() const;

private:
    static constexpr std::size_t kIntervals = 16;

    /// Output at evenly spaced values from -1 to 1.
    struct Table
    {
        double outputs[kIntervals + 1];
        uint64_t setInRun;
    };

    /// Pointers between persistent objects stay valid: every run finds them at the same addresses.
    struct State
    {
        uint64_t runs;
        Table* table;
    };

    static State* create();
    void fill(double gain);

    State* state_ = nullptr;
};

}  // namespace demo
