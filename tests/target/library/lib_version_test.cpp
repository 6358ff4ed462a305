#include "process.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

namespace {

namespace sandbox = qm::test::sandbox;
using qm::test::openDescriptors;
using testing::Each;

class LibVersion : public testing::Test
{
protected:
    LibVersion() { sandbox::freshDirectory("/usr/quillmark/sysinfo"); }

    static void install(const std::string& content)
    {
        sandbox::writeFile("/usr/quillmark/sysinfo/quillmark_version.txt", content);
    }

    /// The whole buffer with its zeros, or what was printed when there is no version.
    static std::string read()
    {
        std::array<char, 101> buffer;
        buffer.fill('#');
        qm::test::StreamCapture out(1);
        const int32_t result = qm_getLibVersion(buffer.data());
        std::string printed = out.text();
        EXPECT_EQ('#', buffer[100]) << "written past its end";
        if (result == 0 && printed.empty()) return {buffer.begin(), buffer.begin() + 100};
        EXPECT_EQ(-1, result);
        EXPECT_THAT(buffer, Each('#'));
        return printed;
    }

    static std::string padded(std::string text)
    {
        text.resize(100);
        return text;
    }
};

TEST_F(LibVersion, IsTheFirstLineWithItsBreak)
{
    const auto before = openDescriptors();
    install("1.2.3\n");
    EXPECT_EQ(padded("1.2.3\n"), read());
    install("1.2.3\nbuilt today\n");
    EXPECT_EQ(padded("1.2.3\n"), read());
    install("1.2.3");
    EXPECT_EQ(padded("1.2.3"), read());
    install("\n");
    EXPECT_EQ(padded("\n"), read());
    EXPECT_EQ(before, openDescriptors());
}

TEST_F(LibVersion, IsCutTo99Characters)
{
    const std::string x(98, 'x');
    install(x + "\nrest");
    EXPECT_EQ(padded(x + "\n"), read());
    install(x + "y\n");
    EXPECT_EQ(padded(x + "y"), read());
    install(x + "yz\n");
    EXPECT_EQ(padded(x + "y"), read());
}

TEST_F(LibVersion, WithoutItsFileIsAnErrorOnStandardOutput)
{
    const auto before = openDescriptors();
    EXPECT_EQ("ERROR: Could not open Quillmark library information file\n", read());
    EXPECT_EQ(before, openDescriptors());
}

TEST_F(LibVersion, InAnEmptyFileIsAnErrorAndTheFileStaysOpen)
{
    install("");
    const auto before = openDescriptors();
    EXPECT_EQ("ERROR: Empty Quillmark library information file\n", read());
    EXPECT_EQ(before.size() + 1, openDescriptors().size());
}

}  // namespace
