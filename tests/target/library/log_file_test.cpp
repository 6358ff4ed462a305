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

std::string localTimeNow()
{
    const std::time_t now = std::time(nullptr);
    char text[30];
    (void)std::strftime(text, sizeof text, "%F %T", std::localtime(&now));
    return text;
}

TEST(LogFile, GetsALineWithTimeAndPaddedLevelForEachMessage)
{
    sandbox::freshDirectory(kFolder);
    qm_log(qm_trace, "a");
    qm_log(qm_debug, "");
    qm_log(qm_info, "m");
    qm_log(qm_warning, "disk low");
    qm_log(qm_error, "100 %s %n");
    qm_log(static_cast<Severity>(7), "x");
    qm_log(static_cast<Severity>(-1), "y");
    const std::string time = kTime;
    EXPECT_THAT(
        sandbox::readFile(kFile),
        MatchesRegex(time + "\\[trace  \\] a\n" + time + "\\[debug  \\] \n" + time + "\\[info   \\] m\n" +
                     time + "\\[warning\\] disk low\n" + time + "\\[error  \\] 100 %s %n\n" + time +
                     "\\[error  \\] x\n" + time + "\\[error  \\] y\n"));
}

TEST(LogFile, HasTheLocalTime)
{
    sandbox::freshDirectory(kFolder);
    setenv("TZ", "QMT-13:37", 1);
    tzset();
    const std::string before = localTimeNow();
    qm_log(qm_info, "m");
    const std::string after = localTimeNow();
    const std::string logged = sandbox::readFile(kFile).substr(1, before.size());
    EXPECT_LE(before, logged);
    EXPECT_GE(after, logged);
}

TEST(LogFile, KeepsWhatItHasAndIsReopenedForEachLine)
{
    sandbox::freshDirectory(kFolder);
    sandbox::writeFile(kFile, "old\n");
    qm_log(qm_info, "first");
    EXPECT_THAT(sandbox::readFile(kFile),
                MatchesRegex(std::string("old\n") + kTime + "\\[info   \\] first\n"));
    std::filesystem::remove(kFile);
    qm_log(qm_info, std::string(5000, 'x').c_str());
    EXPECT_THAT(sandbox::readFile(kFile),
                MatchesRegex(kTime + ("\\[info   \\] " + std::string(5000, 'x')) + "\n"));
}

TEST(LogFile, ThatCannotBeOpenedIsNoError)
{
    sandbox::freshDirectory("/var/log");
    qm::test::StreamCapture out(1);
    qm::test::StreamCapture err(2);
    qm_log(qm_error, "no folder");
    EXPECT_FALSE(std::filesystem::exists(kFolder));
    std::filesystem::create_directories(kFile);
    qm_log(qm_error, "a folder in its place");
    EXPECT_EQ("", out.text() + err.text());
    EXPECT_STREQ("", pQmErrorStr);
}

}  // namespace
