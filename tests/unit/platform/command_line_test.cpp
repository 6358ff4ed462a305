#include "child.hpp"
#include <slrealtime/Standalone.hpp>

#include <gmock/gmock.h>

#include <string>
#include <vector>

using slrealtime::ModelInfo;
namespace standalone = slrealtime::standalone;

TEST(CommandLine, ExitStatusTellsUsageFromFailureFromSuccess)
{
    const auto modelMain = [](std::vector<std::string> words) {
        return test::inChild([&words] {
            std::vector<char*> argv = {const_cast<char*>("model")};
            for (auto& word : words)
                argv.push_back(word.data());
            argv.push_back(nullptr);
            ModelInfo model;
            model.tasks_.emplace_back();
            model.tasks_[0].period_ = 0.001;
            model.tasks_[0].entry_ = [] {};
            ::dup2(STDERR_FILENO, STDOUT_FILENO);
            return standalone::modelMain(static_cast<int>(argv.size()) - 1, argv.data(), model);
        });
    };
    EXPECT_TRUE(modelMain({"--steps", "many"}).exitedWith(2));
    EXPECT_TRUE(modelMain({"--log-level", "loud"}).exitedWith(2));
    EXPECT_TRUE(modelMain({"--report", "/proc/none", "--log-file", ""}).exitedWith(1));
    const auto done = modelMain({"--steps", "2", "--log-file", ""});
    EXPECT_TRUE(done.exitedWith(0));
    EXPECT_THAT(done.errors, testing::EndsWith("\nPASS\n"));
    const auto help = modelMain({"--help"});
    EXPECT_TRUE(help.exitedWith(0));
    EXPECT_THAT(help.errors, testing::Not(testing::ContainsRegex("[^\n]{81}"))) << "wider than 80 columns";
}
