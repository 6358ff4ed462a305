#include "test.hpp"

#include <ctime>

namespace {

using namespace qm::test;

constexpr const char* kFile = "/var/log/slrt/qmlog.log";

TEST(LogFile, GetsALineWithLocalTimeAndPaddedLevelForEachMessage)
{
    sandbox::freshDirectory("/var/log/slrt");
    setenv("TZ", "QMT-13:37", 1);
    tzset();
    const std::time_t before = std::time(nullptr);
    qm_log(qm_trace, "a");
    qm_log(qm_debug, "");
    qm_log(qm_info, "m");
    qm_log(qm_warning, "disk low");
    qm_log(qm_error, ("100 %s %n" + std::string(5000, 'x')).c_str());
    qm_log(static_cast<Severity>(7), "x");
    qm_log(static_cast<Severity>(-1), "y");
    const std::string time = " ....-..-.. ..:..:..\\.000042 \\[42\\] ";
    const std::string content = sandbox::readFile(kFile);
    EXPECT_THAT(content, MatchesRegex(time + "\\[trace  \\] a\n" + time + "\\[debug  \\] \n" + time +
                                      "\\[info   \\] m\n" + time + "\\[warning\\] disk low\n" + time +
                                      "\\[error  \\] 100 %s %nx+\n" + time + "\\[error  \\] x\n" + time +
                                      "\\[error  \\] y\n"));
    std::tm local{};
    ASSERT_NE(nullptr, strptime(content.c_str(), " %Y-%m-%d %H:%M:%S", &local));
    const std::time_t logged = std::mktime(&local);
    EXPECT_LE(before, logged);
    EXPECT_GE(std::time(nullptr), logged);
}

TEST(LogFile, KeepsWhatItHasAndIsReopenedForEachLineWhichFailsSilently)
{
    sandbox::freshDirectory("/var/log");
    EXPECT_EQ("", qm::test::standardErrorOf([] { qm_log(qm_error, "no folder"); }));
    EXPECT_STREQ("", pQmErrorStr);
    sandbox::writeFile(kFile, "old\n");
    qm_log(qm_info, "m");
    EXPECT_THAT(sandbox::readFile(kFile), MatchesRegex("old\n .*\\[info   \\] m\n"));
    fs::remove(kFile);
    qm_log(qm_info, "m");
    EXPECT_THAT(sandbox::readFile(kFile), MatchesRegex(" .*\\[info   \\] m\n"));
}

}  // namespace
