#include "child.hpp"
#include <slrealtime/Logger.hpp>
#include <slrealtime/Standalone.hpp>

#include <boost/log/core.hpp>
#include <boost/log/sinks.hpp>
#include <boost/make_shared.hpp>
#include <gmock/gmock.h>

#include <csignal>

using boost::log::trivial::severity_level;
using slrealtime::standalone::runModel;
using slrealtime::standalone::RunOptions;
using test::inChild;
using testing::HasSubstr;
using testing::Not;

namespace {

void say(severity_level level, const std::string& text)
{
    BOOST_LOG_CHANNEL_SEV(slrealtime::Logger::getLogger(), 0, level) << text;
}

RunOptions oneStep(const std::filesystem::path& logFile)
{
    RunOptions options;
    options.steps_ = 1;
    options.logFile_ = logFile;
    return options;
}

slrealtime::ModelInfo modelThat(const std::function<void()>& step)
{
    slrealtime::ModelInfo model;
    model.tasks_.emplace_back();
    model.tasks_[0].period_ = 0.001;
    model.tasks_[0].entry_ = step;
    return model;
}

}  // namespace

TEST(Log, OwnSinkSeesTraceThatTheConsoleDoesNot)
{
    const auto ended = inChild([] {
        namespace sinks = boost::log::sinks;
        std::ostringstream seen;
        const auto sink = boost::make_shared<sinks::synchronous_sink<sinks::text_ostream_backend>>();
        sink->locked_backend()->add_stream(boost::shared_ptr<std::ostream>(&seen, [](auto*) {}));
        boost::log::core::get()->add_sink(sink);
        say(severity_level::trace, "whisper");
        say(severity_level::warning, "QM: shout");
        boost::log::core::get()->remove_sink(sink);
        return seen.str().find("whisper") != std::string::npos ? 0 : 1;
    });
    EXPECT_TRUE(ended.exitedWith(0));
    EXPECT_THAT(ended.errors, HasSubstr(" [0] [warning] QM: shout\n"));
    EXPECT_THAT(ended.errors, Not(HasSubstr("whisper")));
}

TEST(Log, LoadingThePlatformStartsNoThread)
{
    const auto tasks = std::filesystem::directory_iterator("/proc/self/task");
    EXPECT_EQ(1, std::distance(begin(tasks), end(tasks)));
}

TEST(Log, ExitHandlerRegisteredBeforeTheRunStillReachesTheLogFile)
{
    const test::Folder folder;
    const auto file = folder / "log/model.log";
    const auto ended = inChild([&] {
        std::atexit([] { say(severity_level::info, "last words"); });
        return runModel(modelThat([] { say(severity_level::info, "in step"); }), oneStep(file)).exitStatus_;
    });
    EXPECT_TRUE(ended.exitedWith(0)) << ended.errors;
    EXPECT_THAT(test::contents(file), HasSubstr("[info] in step\n"));
    EXPECT_THAT(test::contents(file), HasSubstr("[info] last words\n"));
}

TEST(Log, ExitInsideAStepWritesTheQueueOut)
{
    const test::Folder folder;
    const auto file = folder / "model.log";
    const auto ended = inChild([&] {
        return runModel(modelThat([] {
                            say(severity_level::info, "leaving");
                            std::exit(7);
                        }),
                        oneStep(file))
            .exitStatus_;
    });
    EXPECT_TRUE(ended.exitedWith(7)) << ended.errors;
    EXPECT_THAT(test::contents(file), HasSubstr("leaving\n"));
}

TEST(Log, ACrashWritesTheQueueOutAndKeepsItsExitStatus)
{
    for (const int crash : {SIGSEGV, SIGABRT}) {
        const test::Folder folder;
        const auto file = folder / "model.log";
        const auto ended = inChild([&] {
            std::signal(crash, SIG_DFL);  // a sanitizer's own handler would change the status
            return runModel(modelThat([&] {
                                for (int i = 0; i <= 1000; ++i)
                                    say(severity_level::info, "line " + std::to_string(i));
                                std::raise(crash);
                            }),
                            oneStep(file))
                .exitStatus_;
        });
        EXPECT_TRUE(ended.diedOf(crash)) << ended.errors;
        EXPECT_THAT(test::contents(file), HasSubstr("line 1000\n"));
    }
}

TEST(Log, AStepNeverWaitsForATerminalThatIsStuck)
{
    std::array<int, 2> stepped{};
    ASSERT_EQ(0, ::pipe2(stepped.data(), O_CLOEXEC));
    const auto ended = inChild(
        [&] {
            return runModel(modelThat([&] {
                                for (int i = 0; i < 20000; ++i)
                                    say(severity_level::info, "more than a pipe holds");
                                ::close(stepped[1]);
                            }),
                            oneStep({}))
                .exitStatus_;
        },
        [&](pid_t) {  // nobody reads the child's errors until its step has ended
            ::close(stepped[1]);
            test::readAll(stepped[0]);
        });
    EXPECT_TRUE(ended.exitedWith(0));
    EXPECT_THAT(ended.errors, testing::ContainsRegex("[0-9]+ log records dropped"));
    ::close(stepped[0]);
}

TEST(Log, AFileThatCannotBeWrittenIsSaidAndTheRunGoesOn)
{
    const auto ended =
        inChild([] { return runModel(modelThat([] {}), oneStep("/proc/none/model.log")).exitStatus_; });
    EXPECT_TRUE(ended.exitedWith(0));
    EXPECT_THAT(ended.errors, HasSubstr("cannot write the log file"));
}
