#include "process.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gtest/gtest.h>

#include <optional>
#include <ostream>

namespace qm::test {

namespace {

const std::filesystem::path kInformation = "/usr/quillmark/sysinfo";
const std::filesystem::path kVersion = kInformation / "quillmark_version.txt";
const std::filesystem::path kMarketingName = kInformation / "quillmark_marketingName.txt";

struct Content
{
    const char* name;
    std::optional<std::string> file;
    std::string line1, line2;
};

void PrintTo(const Content& row, std::ostream* out)
{
    *out << row.name;
}

class ScreenLines : public testing::TestWithParam<Content>
{};

TEST_P(ScreenLines, ShowTheFirstLineOfTheirFiles)
{
    sandbox::freshDirectory("/usr/quillmark");
    if (GetParam().file) {
        sandbox::writeFile(kVersion, *GetParam().file);
        sandbox::writeFile(kMarketingName, *GetParam().file);
    }
    const auto descriptors = openDescriptors();
    EXPECT_EQ(GetParam().line1, qm_getTargetScreenLine1());
    EXPECT_EQ(GetParam().line2, qm_getTargetScreenLine2());
    EXPECT_EQ(descriptors, openDescriptors());
}

INSTANTIATE_TEST_SUITE_P(
    With, ScreenLines,
    testing::Values(
        Content{"NoFile", {}, "<white>Quillmark MarketingName </white>", "<white></white>"},
        Content{"AnEmptyFile", "", "<white>Quillmark  </white>", "<white></white>"},
        Content{"OneLine", "R2026a\n", "<white>Quillmark R2026a </white>", "<white>R2026a</white>"},
        Content{"NoLineEnd", "R2026a", "<white>Quillmark R2026a </white>", "<white>R2026a</white>"},
        Content{"CarriageReturn", "A\r\nB\n", "<white>Quillmark A\r </white>", "<white>A\r</white>"},
        Content{"AnEmptyFirstLine", "\nB\n", "<white>Quillmark  </white>", "<white></white>"},
        Content{"ALongLine", std::string(5000, 'x') + "\ny",
                "<white>Quillmark " + std::string(5000, 'x') + " </white>",
                "<white>" + std::string(5000, 'x') + "</white>"}),
    [](const auto& row) { return row.param.name; });

TEST(ScreenLine2, IsEmptyWhenItsFileCannotBeRead)
{
    sandbox::freshDirectory("/usr/quillmark");
    std::filesystem::create_directories(kVersion);
    EXPECT_EQ("<white></white>", qm_getTargetScreenLine2());
}

}  // namespace

}  // namespace qm::test
