#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
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

/** What a shell command writes to its standard output; the test fails when the command does. */
inline std::string outputOf(const std::string& command)
{
    std::FILE* const pipe = popen(command.c_str(), "re");
    std::string output;
    for (int character = 0; pipe != nullptr && (character = std::fgetc(pipe)) != EOF;)
        output += static_cast<char>(character);
    EXPECT_TRUE(pipe != nullptr && pclose(pipe) == 0) << command << '\n' << output;
    return output;
}

template <typename Function>
std::string standardErrorOf(Function act)
{
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}

}  // namespace qm::test
