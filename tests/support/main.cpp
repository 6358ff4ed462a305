// gtest's main for every test program: each selected test runs in a process of its own, because the library
// keeps state for the life of a process. ctest selects single tests; a program started by hand starts itself
// for each.

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr unsigned kHangSeconds = 50;

bool passesAlone(const std::string& test)
{
    std::string program = "/proc/self/exe";
    std::string filter = "--gtest_filter=" + test;
    std::string brief = "--gtest_brief=1";
    char* const arguments[] = {program.data(), filter.data(), brief.data(), nullptr};
    pid_t child = 0;
    int status = 0;
    if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0) return false;
    return waitpid(child, &status, 0) == child && status == 0;
}

class Alone : public testing::Environment
{
    void SetUp() override
    {
        const testing::UnitTest& all = *testing::UnitTest::GetInstance();
        if (all.test_to_run_count() == 1) {
            (void)alarm(kHangSeconds);  // a test that never ends is a failed one
            return;
        }
        int failures = 0;
        for (int i = 0; i < all.total_test_suite_count(); ++i)
            for (int j = 0; j < all.GetTestSuite(i)->total_test_count(); ++j) {
                const testing::TestInfo& test = *all.GetTestSuite(i)->GetTestInfo(j);
                const std::string name = std::string(test.test_suite_name()) + "." + test.name();
                if (!test.should_run() || passesAlone(name)) continue;
                ++failures;
                (void)fprintf(stderr, "FAILED: %s\n", name.c_str());
            }
        (void)printf("%d tests, %d failed\n", all.test_to_run_count(), failures);
        std::exit(failures == 0 ? 0 : 1);
    }
};

}  // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    testing::AddGlobalTestEnvironment(new Alone);
    return RUN_ALL_TESTS();
}
