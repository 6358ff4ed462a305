// A model on a board: a fast task writes a pattern to the board and reads it back, a slow one lets it
// compute.
//
// What generated code does for a block diagram is written out by hand here: blocks are made, started, stepped
// and terminated in the diagram's order.

#include "digital_block.hpp"
#include "factorial_block.hpp"
#include "setup_block.hpp"
#include <slrealtime/ModelInfo.hpp>
#include <slrealtime/Standalone.hpp>

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <numbers>

namespace {

using slrealtime::standalone::Description;

constexpr uint32_t kModuleId = 1;
constexpr double kFastPeriod = 0.001;
constexpr double kSlowPeriod = 0.01;
constexpr int kFastPriority = 90;
constexpr int kSlowPriority = 80;

/// A sine of 1 Hz over the range of the board's register: the model's own computation.
uint32_t sineAt(double seconds)
{
    const double sine = std::sin(2.0 * std::numbers::pi * seconds);
    return static_cast<uint32_t>((sine + 1.0) / 2.0 * 4294967295.0);
}

class Model
{
public:
    demo::BoardLocation location;
    bool withoutBoard = false;

    /// Registered before the platform initialises its services.
    void registerEarly()
    {
        if (withoutBoard) return;
        setup_ = std::make_unique<demo::SetupBlock>(kModuleId, location, error);
        qm_early_init_set_blkInfo2(setup_.get());
        qm_register_early_init_function(
            [] { static_cast<demo::SetupBlock*>(qm_early_init_get_blkInfo2())->prepareEarly(); });
    }

    void initialize()
    {
        if (withoutBoard) return;
        setup_->start();
        if (error == nullptr) digital_.start();
        if (error == nullptr) factorial_.start();
    }

    void stepFast()
    {
        const uint32_t pattern = sineAt(static_cast<double>(steps_++) * kFastPeriod);
        if (!withoutBoard) digital_.step(pattern);
    }

    void stepSlow()
    {
        if (!withoutBoard) factorial_.step();
    }

    void terminate()
    {
        if (!withoutBoard) setup_->terminate();
    }

    [[nodiscard]] Description describe() const
    {
        if (withoutBoard) return {{{"board", "none, as asked"}}};
        return {{{"board", setup_->describe()},
                 {"patterns verified", digital_.verified()},
                 {"factorials verified", factorial_.verified()}}};
    }

    demo::ModelError error = nullptr;

private:
    std::unique_ptr<demo::SetupBlock> setup_;
    demo::DigitalBlock digital_{kModuleId, error};
    demo::FactorialBlock factorial_{kModuleId, error};
    uint64_t steps_ = 0;
};

slrealtime::TaskInfo task(int index, double period, int priority, std::function<void()> step)
{
    slrealtime::TaskInfo info;
    info.index_ = index;
    info.period_ = period;
    info.priority_ = priority;
    info.entry_ = std::move(step);
    return info;
}

}  // namespace

int main(int argc, char** argv)
try {
    Model model;
    slrealtime::ModelInfo info;
    info.modelName_ = "board_demo";
    info.initialize_ = [&] { model.initialize(); };
    info.terminate_ = [&] { model.terminate(); };
    info.errorStatusPtr_ = &model.error;
    info.tasks_ = {task(0, kFastPeriod, kFastPriority, [&] { model.stepFast(); }),
                   task(1, kSlowPeriod, kSlowPriority, [&] { model.stepSlow(); })};

    const auto addOptions = [&](CLI::App& commandLine) {
        commandLine.add_flag("--without-board", model.withoutBoard, "Run the model's own computation only");
        commandLine.add_option("--position", model.location.position, "Which of several boards, from 1");
        commandLine.add_option("--bus", model.location.bus, "Bus of the board, with --slot");
        commandLine.add_option("--slot", model.location.slot, "Slot of the board instead of its position");
        commandLine.callback([&] { model.registerEarly(); });
    };
    return slrealtime::standalone::modelMain(argc, argv, info, addOptions, [&] { return model.describe(); });
} catch (const std::exception& problem) {
    std::fprintf(stderr, "board_demo: %s\n", problem.what());
    return EXIT_FAILURE;
}
