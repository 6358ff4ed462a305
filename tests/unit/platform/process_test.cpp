#include "test.hpp"
#include <slrealtime/Logger.hpp>
#include <slrealtime/Standalone.hpp>

using boost::log::trivial::severity_level;

namespace {

using namespace qm::test;

const fs::path kFolder = "/var/log/slrt";

void say(const std::string& text, severity_level level = severity_level::info)
{
    BOOST_LOG_CHANNEL_SEV(slrealtime::Logger::getLogger(), 0, level) << text;
}

slrealtime::ModelInfo modelThat(const std::function<void()>& step)
{
    slrealtime::ModelInfo model;
    model.tasks_.emplace_back();
    model.tasks_[0].period_ = 0.001;
    model.tasks_[0].entry_ = step;
    return model;
}

/** Ends the process with the exit status of a run of one step. */
[[noreturn]] void runOneStep(const fs::path& logFile, const std::function<void()>& step)
{
    slrealtime::standalone::RunOptions options;
    options.steps_ = 1;
    options.logFile_ = logFile;
    std::exit(slrealtime::standalone::runModel(modelThat(step), options).exitStatus_);
}

/** Ends the process as a model's main would, with all output on standard error. */
[[noreturn]] void modelMain(std::vector<std::string> words)
{
    words.insert(words.begin(), "model");
    std::vector<char*> argv;
    for (auto& word : words)
        argv.push_back(word.data());
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    const int count = static_cast<int>(argv.size());
    std::exit(slrealtime::standalone::modelMain(count, argv.data(), modelThat([] {})));
}

/** Ends the process, with 0 when a sink of its own sees a trace. */
[[noreturn]] void listen()
{
    const LogCapture seen;
    say("whisper", severity_level::trace);
    say("QM: shout", severity_level::warning);
    std::exit(seen.lines() == std::vector<std::string>{"trace whisper", "warning QM: shout"} ? 0 : 1);
}

}  // namespace

TEST(Log, OwnSinkSeesTraceThatTheConsoleDoesNot)
{
    EXPECT_EXIT(listen(), ExitedWithCode(0),
                AllOf(HasSubstr(" [0] [warning] QM: shout\n"), Not(HasSubstr("whisper"))));
}

TEST(Log, ExitInsideAStepWritesTheQueueOutAndWhatExitHandlersSay)
{
    sandbox::freshDirectory("/var/log/slrt");
    const fs::path file = kFolder / "log/model.log";
    const auto run = [&file] {
        std::atexit([] { say("last words"); });
        runOneStep(file, [] {
            say("leaving");
            std::exit(7);
        });
    };
    EXPECT_EXIT(run(), ExitedWithCode(7), "");
    EXPECT_THAT(sandbox::readFile(file), HasSubstr("[info] leaving\n"));
    EXPECT_THAT(sandbox::readFile(file), HasSubstr("[info] last words\n"));
}

TEST(Log, ACrashWritesTheQueueOutAndKeepsItsExitStatus)
{
    sandbox::freshDirectory("/var/log/slrt");
    for (const int crash : {SIGSEGV, SIGABRT}) {
        const fs::path file = kFolder / std::to_string(crash);
        std::signal(crash, SIG_DFL);  // a sanitizer's own handler would change the status
        const auto step = [crash] {
            for (int i = 0; i <= 1000; ++i)
                say("line " + std::to_string(i));
            std::raise(crash);
        };
        EXPECT_EXIT(runOneStep(file, step), testing::KilledBySignal(crash), "");
        EXPECT_THAT(sandbox::readFile(file), HasSubstr("line 1000\n"));
    }
}

TEST(Log, AFileThatCannotBeWrittenIsSaidAndTheRunGoesOn)
{
    EXPECT_EXIT(runOneStep("/proc/none/model.log", [] {}), ExitedWithCode(0), "cannot write the log file");
}

TEST(CommandLine, ExitStatusTellsUsageFromFailureFromSuccess)
{
    EXPECT_EXIT(modelMain({"--steps", "many"}), ExitedWithCode(2), "");
    EXPECT_EXIT(modelMain({"--report", "/proc/none", "--log-file", ""}), ExitedWithCode(1), "");
    EXPECT_EXIT(modelMain({"--steps", "2", "--log-file", ""}), ExitedWithCode(0),
                testing::EndsWith("\nPASS\n"));
    const auto tooWide = testing::ContainsRegex("[^\n]{81}");
    EXPECT_EXIT(modelMain({"--help"}), ExitedWithCode(0), Not(tooWide));
}

TEST(CommandLine, ASecondStopSignalDoesNotCutExitHandlersShort)
{
    const auto run = [] {
        std::atexit([] { (void)std::fputs("all done", stderr); });
        std::atexit([] { (void)(std::raise(SIGTERM) + std::raise(SIGINT)); });
        modelMain({"--steps", "2", "--log-file", ""});
    };
    EXPECT_EXIT(run(), ExitedWithCode(0), HasSubstr("all done"));
}
