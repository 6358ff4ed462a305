#include "process.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

namespace {

namespace sandbox = qm::test::sandbox;
using testing::MatchesRegex;

constexpr const char* kFolder = "/var/log/slrt";
constexpr const char* kFile = "/var/log/slrt/qmlog.log";
constexpr const char* kTime = " ....-..-.. ..:..:..\\.000042 \\[42\\] ";

TEST(LogFile, GetsALineWithTimeAndPaddedLevelForEachMessage)
{
    sandbox::freshDirectory(kFolder);
    qm_log(qm_trace, "a");
    qm_log(qm_debug, "");
    qm_log(qm_info, "m");
    qm_log(qm_warning, "disk low");
    qm_log(qm_error, ("100 %s %n" + std::string(5000, 'x')).c_str());
    qm_log(static_cast<Severity>(7), "x");
    qm_log(static_cast<Severity>(-1), "y");
    const std::string time = kTime;
    EXPECT_THAT(
        sandbox::readFile(kFile),
        MatchesRegex(time + "\\[trace  \\] a\n" + time + "\\[debug  \\] \n" + time + "\\[info   \\] m\n" +
                     time + "\\[warning\\] disk low\n" + time + "\\[error  \\] 100 %s %nx+\n" + time +
                     "\\[error  \\] x\n" + time + "\\[error  \\] y\n"));
}

TEST(LogFile, HasTheLocalTime)
{
    sandbox::freshDirectory(kFolder);
    setenv("TZ", "QMT-13:37", 1);
    tzset();
    const std::time_t before = std::time(nullptr);
    qm_log(qm_info, "m");
    std::tm local{};
    ASSERT_NE(nullptr, strptime(sandbox::readFile(kFile).c_str(), " %Y-%m-%d %H:%M:%S", &local));
    const std::time_t logged = std::mktime(&local);
    EXPECT_LE(before, logged);
    EXPECT_GE(std::time(nullptr), logged);
}

TEST(LogFile, KeepsWhatItHasAndIsReopenedForEachLine)
{
    sandbox::freshDirectory(kFolder);
    const std::string line = std::string(kTime) + "\\[info   \\] m\n";
    sandbox::writeFile(kFile, "old\n");
    qm_log(qm_info, "m");
    EXPECT_THAT(sandbox::readFile(kFile), MatchesRegex("old\n" + line));
    std::filesystem::remove(kFile);
    qm_log(qm_info, "m");
    EXPECT_THAT(sandbox::readFile(kFile), MatchesRegex(line));
}

TEST(LogFile, ThatCannotBeOpenedIsNoError)
{
    sandbox::freshDirectory("/var/log");
    const auto logTwice = [] {
        qm_log(qm_error, "no folder");
        std::filesystem::create_directories(kFile);
        qm_log(qm_error, "a folder in its place");
    };
    EXPECT_EQ("", qm::test::standardErrorOf(logTwice));
    EXPECT_STREQ("", pQmErrorStr);
}

}  // namespace
