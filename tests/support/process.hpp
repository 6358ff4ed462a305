#ifndef QM_TEST_PROCESS_HPP
#define QM_TEST_PROCESS_HPP

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace qm::test {

/** Numbers and targets of the open descriptors: compare before and after. */
inline std::vector<std::string> openDescriptors()
{
    std::vector<std::string> found;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (!target.string().starts_with("/proc/"))
            found.push_back(entry.path().filename() / target.relative_path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

/** What `act` writes to a standard stream, buffered text included. */
template <typename Function>
std::string standardOutputOf(Function act)
{
    testing::internal::CaptureStdout();
    act();
    return testing::internal::GetCapturedStdout();
}

template <typename Function>
std::string standardErrorOf(Function act)
{
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}

}  // namespace qm::test

#endif
