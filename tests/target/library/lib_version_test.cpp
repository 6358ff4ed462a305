#include "process.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace {

namespace sandbox = qm::test::sandbox;
using qm::test::openDescriptors;
using qm::test::standardOutputOf;
using testing::Each;

class LibVersion : public testing::Test
{
protected:
    LibVersion() { sandbox::freshDirectory("/usr/quillmark/sysinfo"); }

    static void install(const std::string& content)
    {
        sandbox::writeFile("/usr/quillmark/sysinfo/quillmark_version.txt", content);
    }

    /// The buffer up to its padding of zeros, or what was printed when there is no version.
    static std::string read()
    {
        std::array<char, 101> buffer;
        buffer.fill('#');
        int32_t result = 0;
        const std::string printed = standardOutputOf([&] { result = qm_getLibVersion(buffer.data()); });
        EXPECT_EQ('#', buffer[100]) << "written past its end";
        EXPECT_EQ(printed.empty() ? 0 : -1, result);
        const std::string version(buffer.data(), result == 0 ? strnlen(buffer.data(), 100) : 0);
        EXPECT_THAT(std::vector(buffer.begin() + version.size(), buffer.end() - 1),
                    Each(result == 0 ? '\0' : '#'));
        return printed + version;
    }
};

TEST_F(LibVersion, IsTheFirstLineWithItsBreakCutTo99Characters)
{
    const auto before = openDescriptors();
    const std::string x(98, 'x');
    for (const auto& [content, version] : {std::pair<std::string, std::string>{"1.2.3\n", "1.2.3\n"},
                                           {"1.2.3\nbuilt today\n", "1.2.3\n"},
                                           {"1.2.3", "1.2.3"},
                                           {"\n", "\n"},
                                           {x + "\nrest", x + "\n"},
                                           {x + "yz\n", x + "y"}}) {
        install(content);
        EXPECT_EQ(version, read());
    }
    EXPECT_EQ(before, openDescriptors());
}

TEST_F(LibVersion, WithoutItsFileIsAnErrorOnStandardOutput)
{
    EXPECT_EQ("ERROR: Could not open Quillmark library information file\n", read());
}

TEST_F(LibVersion, InAnEmptyFileIsAnErrorAndTheFileStaysOpen)
{
    install("");
    const auto before = openDescriptors();
    EXPECT_EQ("ERROR: Empty Quillmark library information file\n", read());
    EXPECT_EQ(before.size() + 1, openDescriptors().size());
}

}  // namespace
