#include "calibration_block.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

namespace demo {

namespace {

constexpr char kStateName[] = "board_demo_state";
constexpr char kTableName[] = "board_demo_table";
constexpr double kDefaultGain = 1.0;

}  // namespace

CalibrationBlock::State* CalibrationBlock::create()
{
    auto* const table = static_cast<Table*>(qm_allocPersistentMemory(kTableName, sizeof(Table)));
    if (table == nullptr) return nullptr;
    auto* const state = static_cast<State*>(qm_allocPersistentMemory(kStateName, sizeof(State)));
    if (state != nullptr) *state = {0, table};
    return state;
}

void CalibrationBlock::fill(double gain)
{
    Table& table = *state_->table;
    for (std::size_t i = 0; i <= kIntervals; ++i)
        table.outputs[i] = gain * (2.0 * static_cast<double>(i) / kIntervals - 1.0);
    table.setInRun = state_->runs;
}

void CalibrationBlock::start(std::optional<double> gain)
{
    if (!qm_isFirstModelLoad()) state_ = static_cast<State*>(qm_getPersistentMemory(kStateName));
    if (state_ == nullptr) state_ = create();
    if (state_ == nullptr) {
        qmError_setMsg(error(),
                       "no persistent memory; --log-level debug says why, `ls -l /dev/shm` whose it is");
        fail();
        return;
    }
    const bool isNew = state_->runs++ == 0;
    if (gain || isNew) fill(gain.value_or(kDefaultGain));
}

double CalibrationBlock::correct(double value) const
{
    const double position = (value + 1.0) / 2.0 * kIntervals;
    const auto interval = std::min(static_cast<std::size_t>(position), kIntervals - 1);
    const double* const outputs = &state_->table->outputs[interval];
    return std::lerp(outputs[0], outputs[1], position - static_cast<double>(interval));
}

std::string CalibrationBlock::describe() const
{
    if (state_ == nullptr) return "none";
    const Table& table = *state_->table;
    return fmt::format("{:g} to {:g}, set in run {}, at {}", table.outputs[0], table.outputs[kIntervals],
                       table.setInRun, static_cast<const void*>(&table));
}

}  // namespace demo
