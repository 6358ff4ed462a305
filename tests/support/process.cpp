#include "process.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace qm::test {

std::vector<std::string> openDescriptors()
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

std::string standardOutputOf(const std::function<void()>& act)
{
    testing::internal::CaptureStdout();
    act();
    return testing::internal::GetCapturedStdout();
}

std::string standardErrorOf(const std::function<void()>& act)
{
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}

}  // namespace qm::test
