#include "process.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gtest/gtest.h>

namespace qm::test {

namespace {

const std::filesystem::path kVersion = "/usr/quillmark/sysinfo/quillmark_version.txt";
const std::filesystem::path kMarketingName = "/usr/quillmark/sysinfo/quillmark_marketingName.txt";

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

}  // namespace

}  // namespace qm::test
