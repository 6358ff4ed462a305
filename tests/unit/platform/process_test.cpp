#include "folder.hpp"
#include <slrealtime/Logger.hpp>
#include <slrealtime/Standalone.hpp>

#include <boost/log/core.hpp>
#include <boost/log/sinks.hpp>
#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>
#include <vector>

using boost::log::trivial::severity_level;
using testing::ExitedWithCode;
using testing::HasSubstr;

namespace {

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
[[noreturn]] void runOneStep(const std::filesystem::path& logFile, const std::function<void()>& step)
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
    namespace sinks = boost::log::sinks;
    std::ostringstream seen;
    const auto sink = boost::make_shared<sinks::synchronous_sink<sinks::text_ostream_backend>>();
    sink->locked_backend()->add_stream(boost::shared_ptr<std::ostream>(&seen, [](auto*) {}));
    boost::log::core::get()->add_sink(sink);
    say("whisper", severity_level::trace);
    say("QM: shout", severity_level::warning);
    boost::log::core::get()->remove_sink(sink);
    std::exit(seen.str().find("whisper") != std::string::npos ? 0 : 1);
}

/** What is written to a pipe until its last writer closes it. */
std::string readAll(int pipe)
{
    std::string text;
    std::array<char, 4096> part{};
    for (ssize_t n = 0; (n = ::read(pipe, part.data(), part.size())) > 0;)
        text.append(part.data(), static_cast<std::size_t>(n));
    return text;
}

class Log : public testing::Test
{
protected:
    const test::Folder folder_;
    const std::filesystem::path file_ = folder_ / "log/model.log";
};

}  // namespace

TEST_F(Log, OwnSinkSeesTraceThatTheConsoleDoesNot)
{
    EXPECT_EXIT(listen(), ExitedWithCode(0),
                AllOf(HasSubstr(" [0] [warning] QM: shout\n"), Not(HasSubstr("whisper"))));
}

TEST_F(Log, LoadingThePlatformStartsNoThread)
{
    const auto tasks = std::filesystem::directory_iterator("/proc/self/task");
    EXPECT_EQ(1, std::distance(begin(tasks), end(tasks)));
}

TEST_F(Log, ExitInsideAStepWritesTheQueueOutAndWhatExitHandlersSay)
{
    const auto run = [this] {
        std::atexit([] { say("last words"); });
        runOneStep(file_, [] {
            say("leaving");
            std::exit(7);
        });
    };
    EXPECT_EXIT(run(), ExitedWithCode(7), "");
    EXPECT_THAT(test::contents(file_), HasSubstr("[info] leaving\n"));
    EXPECT_THAT(test::contents(file_), HasSubstr("[info] last words\n"));
}

TEST_F(Log, ACrashWritesTheQueueOutAndKeepsItsExitStatus)
{
    for (const int crash : {SIGSEGV, SIGABRT}) {
        const auto file = folder_ / std::to_string(crash);
        std::signal(crash, SIG_DFL);  // a sanitizer's own handler would change the status
        const auto step = [crash] {
            for (int i = 0; i <= 1000; ++i)
                say("line " + std::to_string(i));
            std::raise(crash);
        };
        EXPECT_EXIT(runOneStep(file, step), testing::KilledBySignal(crash), "");
        EXPECT_THAT(test::contents(file), HasSubstr("line 1000\n"));
    }
}

TEST_F(Log, AStepNeverWaitsForATerminalThatIsStuck)
{
    std::array<int, 2> console{};
    std::array<int, 2> stepped{};
    ASSERT_EQ(0, ::pipe(console.data()) + ::pipe(stepped.data()));
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(console[1], STDERR_FILENO);
        runOneStep({}, [&] {
            for (int i = 0; i < 20000; ++i)
                say("more than a pipe holds");
            ::close(stepped[1]);
        });
    }
    ::close(console[1]);
    ::close(stepped[1]);
    readAll(stepped[0]);  // nobody reads the console until the step has ended
    EXPECT_THAT(readAll(console[0]), testing::ContainsRegex("[0-9]+ log records dropped"));
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
}

TEST_F(Log, AFileThatCannotBeWrittenIsSaidAndTheRunGoesOn)
{
    EXPECT_EXIT(runOneStep("/proc/none/model.log", [] {}), ExitedWithCode(0), "cannot write the log file");
}

TEST(CommandLine, ExitStatusTellsUsageFromFailureFromSuccess)
{
    EXPECT_EXIT(modelMain({"--steps", "many"}), ExitedWithCode(2), "");
    EXPECT_EXIT(modelMain({"--log-level", "loud"}), ExitedWithCode(2), "");
    EXPECT_EXIT(modelMain({"--report", "/proc/none", "--log-file", ""}), ExitedWithCode(1), "");
    EXPECT_EXIT(modelMain({"--steps", "2", "--log-file", ""}), ExitedWithCode(0),
                testing::EndsWith("\nPASS\n"));
    const auto tooWide = testing::ContainsRegex("[^\n]{81}");
    EXPECT_EXIT(modelMain({"--help"}), ExitedWithCode(0), testing::Not(tooWide));
}
