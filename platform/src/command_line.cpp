#include "model_files.hpp"
#include <slrealtime/Standalone.hpp>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <map>
#include <utility>

namespace slrealtime::standalone {

namespace {

const std::map<std::string, LogLevel> kLevels = {
    {"trace", LogLevel::trace},     {"debug", LogLevel::debug}, {"info", LogLevel::info},
    {"warning", LogLevel::warning}, {"error", LogLevel::error},
};

constexpr double kShortestRun = 1e-6;
constexpr double kLongestRun = 3e9;  // a century, well within 64-bit nanoseconds

std::filesystem::path defaultLogFile(const std::string& model)
{
    const auto base = modelBaseDir();
    return base.empty() ? std::filesystem::path() : base / "log" / (model + ".log");
}

void addCommonOptions(CLI::App& app, RunOptions& options)
{
    app.get_formatter()->column_width(28);
    app.add_option("--steps", options.steps_, "End after N steps of the first task")->option_text("N");
    app.add_option("--duration", options.duration_, "End after SECONDS of model time")
        ->option_text("SECONDS")
        ->check(CLI::Range(kShortestRun, kLongestRun));
    app.add_option("--max-overloads", options.maxOverloads_,
                   fmt::format("Consecutive overloads to bear ({})", options.maxOverloads_))
        ->option_text("N");
    app.add_option("--report", options.reportFile_, "Write the run report as JSON")->option_text("FILE");
    app.add_option("--log-file", options.logFile_, "Log there, not to DIR/log/MODEL.log")
        ->option_text("FILE");
    app.add_option_function<std::string>(
           "--log-level", [&options](const std::string& name) { options.logLevel_ = kLevels.at(name); },
           "trace, debug, info, warning or error (info)")
        ->option_text("LEVEL")
        ->check(CLI::IsMember(kLevels));
    app.footer(
        "Without --steps and --duration it runs until SIGINT or SIGTERM.\n"
        "Exit status: 0 done, 1 the model failed, 2 wrong command line.");
}

bool print(const std::string& text)
{
    return std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
}

/** The run takes these signals over and gives them back to a handler that does nothing: a second one must not
 * cut exit handlers short. Ignoring them would make programs that an exit handler spawns deaf to them. */
void outliveFurtherStopSignals()
{
    for (const int signal : {SIGINT, SIGTERM})
        (void)std::signal(signal, [](int) {});
}

}  // namespace

int modelMain(int argc, char** argv, ModelInfo model,
              const std::function<void(CLI::App&, ModelInfo&)>& addOptions,
              const std::function<Description()>& describe)
{
    if (model.modelName_.empty()) model.modelName_ = programName();
    RunOptions options;
    options.describe_ = describe;
    options.logFile_ = defaultLogFile(model.modelName_);
    CLI::App app("Runs the model " + model.modelName_ + " in real time.", programName());
    addCommonOptions(app, options);
    if (addOptions) addOptions(app, model);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kExitDone : kExitUsage;
    }
    outliveFurtherStopSignals();
    const auto result = runModel(std::move(model), options);
    if (!print(result.report_)) {
        std::fputs("cannot write the run report to standard output\n", stderr);
        return kExitFailed;
    }
    return result.exitStatus_;
}

}  // namespace slrealtime::standalone
