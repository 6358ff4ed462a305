// A model on a board: a fast task writes a pattern to the board and reads it back, a slow one lets the board
// compute and move memory. The board's interrupt is received beside them or, with --trigger interrupt, drives
// the fast task. The calibration of the pattern, and the number of runs, are kept from one run to the next.
//
// What generated code does for a block diagram is written out by hand here: blocks are made, started, stepped
// and terminated in the diagram's order.

#include "calibration_block.hpp"
#include "digital_block.hpp"
#include "dma_block.hpp"
#include "factorial_block.hpp"
#include "interrupt_block.hpp"
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
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using slrealtime::standalone::Description;

constexpr uint32_t kModuleId = 1;
constexpr double kFastPeriod = 0.001;
constexpr double kSlowPeriod = 0.01;
constexpr int kFastPriority = 90;
constexpr int kStimulusPriority = 85;
constexpr int kSlowPriority = 80;
constexpr int kInterruptPriority = 60;

/// A sine of 1 Hz: the model's own computation.
double sineAt(double seconds)
{
    return std::sin(2.0 * std::numbers::pi * seconds);
}

/// A value from -1 to 1 over the range of the board's register.
uint32_t patternOf(double value)
{
    return static_cast<uint32_t>((value + 1.0) / 2.0 * 4294967295.0);
}

class Model
{
public:
    demo::BoardLocation location;
    bool withoutBoard = false;
    std::optional<double> gain;
    std::string trigger = "timer";

    [[nodiscard]] bool interruptDriven() const { return trigger == "interrupt"; }

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
        qm_initModelRun();
        calibration_.start(gain);
        if (withoutBoard || error != nullptr) return;
        setup_->start();
        if (error == nullptr) digital_.start();
        if (error == nullptr) factorial_.start();
        if (error == nullptr) dma_.start();
        if (error == nullptr)
            interrupt_.start(interruptDriven(), interruptDriven() ? kFastPriority : kInterruptPriority);
    }

    void stepFast()
    {
        const double sine = sineAt(static_cast<double>(steps_++) * kFastPeriod);
        const uint32_t pattern = patternOf(calibration_.correct(sine));
        if (withoutBoard) return;
        if (interruptDriven())
            interrupt_.receive();
        else
            interrupt_.raise();
        digital_.step(pattern);
    }

    void stepSlow()
    {
        if (withoutBoard) return;
        factorial_.step();
        dma_.step();
    }

    void raiseInterrupt() { interrupt_.raise(); }
    bool waitForInterrupt() { return interrupt_.wait(); }
    void receiveInterrupt() { interrupt_.receive(); }

    void terminate()
    {
        if (withoutBoard) return;
        interrupt_.terminate();
        dma_.terminate();
        setup_->terminate();
    }

    [[nodiscard]] Description describe()
    {
        Description description{{{"start", qm_isFirstModelLoad() ? "first load" : "re-run"},
                                 {"runs since load", calibration_.runs()},
                                 {"calibration", calibration_.describe()}}};
        if (withoutBoard)
            description.facts_.emplace_back("board", "none, as asked");
        else
            describeBoard(description);
        return description;
    }

    demo::ModelError error = nullptr;

private:
    void describeBoard(Description& description)
    {
        interrupt_.collectLast();
        description.facts_.insert(description.facts_.end(),
                                  {{"board", setup_->describe()},
                                   {"patterns verified", digital_.verified()},
                                   {"factorials verified", factorial_.verified()},
                                   {"interrupts raised", interrupt_.raised()},
                                   {"interrupts received", interrupt_.received()},
                                   {"interrupts lost", interrupt_.raised() - interrupt_.received()},
                                   {"bytes moved by DMA", dma_.moved()},
                                   {"bytes verified", dma_.verified()}});
        description.times_.emplace_back("interrupt latency", interrupt_.latency());
    }

    demo::CalibrationBlock calibration_{kModuleId, error};
    std::unique_ptr<demo::SetupBlock> setup_;
    demo::DigitalBlock digital_{kModuleId, error};
    demo::FactorialBlock factorial_{kModuleId, error};
    demo::DmaBlock dma_{kModuleId, error};
    demo::InterruptBlock interrupt_{kModuleId, dma_, error};
    uint64_t steps_ = 0;
};

slrealtime::TaskInfo timerTask(double period, int priority, std::function<void()> step)
{
    slrealtime::TaskInfo info;
    info.period_ = period;
    info.priority_ = priority;
    info.entry_ = std::move(step);
    return info;
}

slrealtime::TaskInfo interruptTask(Model& model, slrealtime::TimingMode mode, int priority,
                                   std::function<void()> step)
{
    auto info = timerTask(kFastPeriod, priority, std::move(step));
    info.trigmode_ = slrealtime::INTERRUPT;
    info.mode_ = mode;
    info.poll_ = [&model] { return model.waitForInterrupt(); };
    return info;
}

std::vector<slrealtime::TaskInfo> tasks(Model& model)
{
    const auto fast = [&model] { model.stepFast(); };
    auto slow = timerTask(kSlowPeriod, kSlowPriority, [&model] { model.stepSlow(); });
    if (model.withoutBoard) return {timerTask(kFastPeriod, kFastPriority, fast), slow};
    if (model.interruptDriven())  // a further task stands for the world that the board listens to
        return {interruptTask(model, slrealtime::PERIODIC, kFastPriority, fast), slow,
                timerTask(kFastPeriod, kStimulusPriority, [&model] { model.raiseInterrupt(); })};
    return {timerTask(kFastPeriod, kFastPriority, fast), slow,
            interruptTask(model, slrealtime::ASYNCHRONOUS, kInterruptPriority,
                          [&model] { model.receiveInterrupt(); })};
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

    const auto addOptions = [&](CLI::App& commandLine, slrealtime::ModelInfo& toRun) {
        commandLine
            .add_option("--trigger", model.trigger, "What drives the fast task: timer or interrupt (timer)")
            ->option_text("SOURCE")
            ->check(CLI::IsMember({"timer", "interrupt"}));
        commandLine
            .add_option("--gain", model.gain, "Calibrates the pattern, also for later runs (1 when loaded)")
            ->check(CLI::Range(0.0, 1.0));
        commandLine.add_flag("--without-board", model.withoutBoard, "Run the model's own computation only");
        commandLine.add_option("--position", model.location.position, "Which of several boards, from 1");
        commandLine.add_option("--bus", model.location.bus, "Bus of the board, with --slot");
        commandLine.add_option("--slot", model.location.slot, "Slot of the board instead of its position");
        commandLine.callback([&] {
            toRun.tasks_ = tasks(model);
            model.registerEarly();
        });
    };
    return slrealtime::standalone::modelMain(argc, argv, info, addOptions, [&] { return model.describe(); });
} catch (const std::exception& problem) {
    std::fprintf(stderr, "board_demo: %s\n", problem.what());
    return EXIT_FAILURE;
}
