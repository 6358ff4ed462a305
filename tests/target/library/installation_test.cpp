#include "test.hpp"

// What the library says of its installation: base directory, version, the lines for the console screen.

namespace {

using namespace qm::test;

const fs::path kVersion = "/usr/quillmark/sysinfo/quillmark_version.txt";
const fs::path kMarketingName = "/usr/quillmark/sysinfo/quillmark_marketingName.txt";

/// "result|text" of a function that fills a buffer; the text is "#" where that was before and is left alone.
template <typename Fill>
std::string filled(Fill fill, uint32_t size, char before)
{
    std::vector<char> text(size, before);
    text.insert(text.end(), {'#', '\0'});
    const int result = fill(text.data());
    EXPECT_EQ('#', text[size]) << "written past its end";
    return std::to_string(result) + "|" + (text[0] == '#' ? "#" : text.data());
}

TEST(ModelBaseDir, EndsBeforeTheFirstBinDirectoryOfThePathThatFits)
{
    sandbox::freshDirectory("/proc");
    fs::create_directory("/proc/self");
    for (const auto& [program, expected, size] : {std::tuple{"/opt/app/bin/model", "0|/opt/app", 100U},
                                                  {"/opt/bin/y/bin/model", "0|/opt", 100U},
                                                  {"/bin/model", "0|", 100U},
                                                  {"/opt/sbin/model", "-1|/opt/sbin/model", 100U},
                                                  {"/opt/binary/bin", "-1|/opt/binary/bin", 100U},
                                                  {"/opt/bin/model", "0|/opt", 10U},
                                                  {"/opt/bin/model", "-1|/opt/bin", 9U}}) {
        fs::remove("/proc/self/exe");
        fs::create_symlink(program, "/proc/self/exe");
        EXPECT_EQ(expected,
                  filled([size = size](char* path) { return qm_getModelBaseDir(path, size); }, size, 0));
        EXPECT_STREQ("", pQmErrorStr);
    }
    fs::remove("/proc/self/exe");
    EXPECT_EQ("-1|", filled([](char* path) { return qm_getModelBaseDir(path, 100); }, 100, 0));
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
                                        {"R2026a", "R2026a"},
                                        {"A\r\nB\n", "A\r"},
                                        {longLine + "\ny", longLine}}) {
        sandbox::writeFile(kMarketingName, content);
        sandbox::writeFile(kVersion, "v" + content);
        EXPECT_EQ("<white>Quillmark " + line + " </white>", qm_getTargetScreenLine1());
        EXPECT_EQ("<white>v" + line + "</white>", qm_getTargetScreenLine2());
    }
    EXPECT_EQ(descriptors, openDescriptors());
}

TEST(LibVersion, IsTheFirstLineWithItsBreakCutTo99CharactersAndAnEmptyFileStaysOpen)
{
    sandbox::freshDirectory("/usr/quillmark/sysinfo");
    const auto before = openDescriptors();
    const auto readWhole = [](char* text) {
        const int result = qm_getLibVersion(text);
        EXPECT_EQ(result == 0 ? '\0' : '#', text[99]);
        return result;
    };
    const auto read = [&] { return filled(readWhole, 100, '#'); };
    const std::string x(98, 'x');
    for (const auto& [content, version] : {std::pair<std::string, std::string>{"1.2.3\nbuilt\n", "1.2.3\n"},
                                           {"1.2.3", "1.2.3"},
                                           {x + "\nrest", x + "\n"},
                                           {x + "yz\n", x + "y"}}) {
        sandbox::writeFile(kVersion, content);
        EXPECT_EQ("0|" + version, read());
    }
    EXPECT_EQ(before, openDescriptors());

    const auto failsWith = [&](const std::string& text) {
        std::string result;
        EXPECT_EQ(text, qm::test::standardOutputOf([&] { result = read(); }));
        EXPECT_EQ("-1|#", result);
    };
    sandbox::writeFile(kVersion, "");
    failsWith("ERROR: Empty Quillmark library information file\n");
    EXPECT_EQ(before.size() + 1, openDescriptors().size());
    fs::remove(kVersion);
    failsWith("ERROR: Could not open Quillmark library information file\n");
}

}  // namespace
