// gtest's main for every test program: each selected test runs in a process of its own, because the library
// keeps state for the life of a process. ctest selects single tests; a program started by hand starts itself
// for each.

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr unsigned kHangSeconds = 50;

/** Full names of the tests that the command line selects. */
std::vector<std::string> selectedTests()
{
    testing::internal::CaptureStdout();
    GTEST_FLAG_SET(list_tests, true);
    [[maybe_unused]] const int listed = RUN_ALL_TESTS();
    GTEST_FLAG_SET(list_tests, false);
    std::istringstream listing(testing::internal::GetCapturedStdout());

    std::vector<std::string> names;
    std::string suite;
    for (std::string line; std::getline(listing, line);) {
        const std::string word = line.substr(0, line.find("  #"));
        if (word.starts_with("  "))
            names.push_back(suite + word.substr(2));
        else if (word.ends_with('.'))
            suite = word;
    }
    return names;
}

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

}  // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();

    const std::vector<std::string> tests = selectedTests();
    if (tests.size() <= 1) {
        (void)alarm(kHangSeconds);  // a test that never ends is a failed one
        return RUN_ALL_TESTS();
    }

    int failures = 0;
    for (const std::string& test : tests) {
        if (passesAlone(test)) continue;
        ++failures;
        (void)fprintf(stderr, "FAILED: %s\n", test.c_str());
    }
    (void)printf("%zu tests, %d failed\n", tests.size(), failures);
    return failures == 0 ? 0 : 1;
}
