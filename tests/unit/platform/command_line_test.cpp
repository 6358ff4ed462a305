#include <slrealtime/Standalone.hpp>

#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

/** Ends the process as a model's main would, with all output on standard error. */
[[noreturn]] void modelMain(std::vector<std::string> words)
{
    words.insert(words.begin(), "model");
    std::vector<char*> argv;
    for (auto& word : words)
        argv.push_back(word.data());
    slrealtime::ModelInfo model;
    model.tasks_.emplace_back();
    model.tasks_[0].period_ = 0.001;
    model.tasks_[0].entry_ = [] {};
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    std::exit(slrealtime::standalone::modelMain(static_cast<int>(argv.size()), argv.data(), model));
}

}  // namespace

TEST(CommandLine, ExitStatusTellsUsageFromFailureFromSuccess)
{
    using testing::ExitedWithCode;
    EXPECT_EXIT(modelMain({"--steps", "many"}), ExitedWithCode(2), "");
    EXPECT_EXIT(modelMain({"--log-level", "loud"}), ExitedWithCode(2), "");
    EXPECT_EXIT(modelMain({"--report", "/proc/none", "--log-file", ""}), ExitedWithCode(1), "");
    EXPECT_EXIT(modelMain({"--steps", "2", "--log-file", ""}), ExitedWithCode(0),
                testing::EndsWith("\nPASS\n"));
    const auto tooWide = testing::ContainsRegex("[^\n]{81}");
    EXPECT_EXIT(modelMain({"--help"}), ExitedWithCode(0), testing::Not(tooWide));
}
