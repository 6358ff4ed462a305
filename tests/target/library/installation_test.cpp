#include "process.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

// What the library says of its installation: base directory, version, the lines for the console screen.

namespace {

namespace fs = std::filesystem;
namespace sandbox = qm::test::sandbox;
using qm::test::openDescriptors;
using qm::test::standardOutputOf;
using testing::Each;

const fs::path kVersion = "/usr/quillmark/sysinfo/quillmark_version.txt";
const fs::path kMarketingName = "/usr/quillmark/sysinfo/quillmark_marketingName.txt";

/// "result|text|error" of qm_getModelBaseDir() for a program at this place.
std::string baseDir(const fs::path& program, uint32_t size = 100)
{
    fs::remove("/proc/self/exe");
    fs::create_symlink(program, "/proc/self/exe");
    std::vector<char> path(size + 1);
    path[size] = '#';  // behind the end
    const int32_t result = qm_getModelBaseDir(path.data(), size);
    return std::to_string(result) + "|" + (path[size] == '#' ? path.data() : "overrun") + "|" + pQmErrorStr;
}

TEST(ModelBaseDir, EndsBeforeTheFirstBinDirectoryOfThePathThatFits)
{
    sandbox::freshDirectory("/proc");
    fs::create_directory("/proc/self");
    EXPECT_EQ("0|/opt/app|", baseDir("/opt/app/bin/model"));
    EXPECT_EQ("0|/opt|", baseDir("/opt/bin/y/bin/model"));
    EXPECT_EQ("0||", baseDir("/bin/model"));
    EXPECT_EQ("-1|/opt/sbin/model|", baseDir("/opt/sbin/model"));
    EXPECT_EQ("-1|/opt/binary/bin|", baseDir("/opt/binary/bin"));
    EXPECT_EQ("0|/opt|", baseDir("/opt/bin/model", sizeof "/opt/bin/"));
    EXPECT_EQ("-1|/opt/bin|", baseDir("/opt/bin/model", sizeof "/opt/bin"));
    fs::remove("/proc/self/exe");
    std::array<char, 100> path{};
    EXPECT_EQ(-1, qm_getModelBaseDir(path.data(), path.size()));
    EXPECT_STREQ("", path.data());
    EXPECT_STREQ("Could not read the process exefile", pQmErrorStr);
    umount("/proc");  // leak checks need it
}

TEST(ScreenLines, ShowTheFirstLineOfTheirFiles)
{
    sandbox::freshDirectory("/usr/quillmark");
    EXPECT_EQ("<white>Quillmark MarketingName </white>", qm_getTargetScreenLine1()) << "without a file";
    EXPECT_EQ("<white></white>", qm_getTargetScreenLine2());

    const std::string longLine(5000, 'x');
    const auto descriptors = openDescriptors();
    for (const auto& [content, line] : {std::pair<std::string, std::string>{"", ""},
                                        {"R2026a\n", "R2026a"},
                                        {"R2026a", "R2026a"},
                                        {"A\r\nB\n", "A\r"},
                                        {"\nB\n", ""},
                                        {longLine + "\ny", longLine}}) {
        sandbox::writeFile(kMarketingName, content);
        sandbox::writeFile(kVersion, "v" + content);
        EXPECT_EQ("<white>Quillmark " + line + " </white>", qm_getTargetScreenLine1());
        EXPECT_EQ("<white>v" + line + "</white>", qm_getTargetScreenLine2());
    }
    std::filesystem::remove(kVersion);
    std::filesystem::create_directory(kVersion);
    EXPECT_EQ("<white></white>", qm_getTargetScreenLine2()) << "a file that cannot be read";
    EXPECT_EQ(descriptors, openDescriptors());
}

class LibVersion : public testing::Test
{
protected:
    LibVersion() { sandbox::freshDirectory("/usr/quillmark/sysinfo"); }

    static void install(const std::string& content) { sandbox::writeFile(kVersion, content); }

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
