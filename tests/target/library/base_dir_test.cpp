#include "sandbox.hpp"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;
namespace sandbox = qm::test::sandbox;

const fs::path kWorld = "/tmp/quillmark";

/// A copy of the probe at a place of its own.
class BaseDir : public testing::Test
{
protected:
    BaseDir() { sandbox::freshDirectory(kWorld); }

    static fs::path install(const fs::path& place)
    {
        fs::create_directories(place.parent_path());
        fs::copy_file(QM_PROBE, place);
        return place;
    }

    static std::string probe(const fs::path& place, size_t size, const std::string& root = "")
    {
        FILE* const output = popen((place.string() + " " + std::to_string(size) + " " + root).c_str(), "re");
        char text[1024]{};
        const size_t length = fread(text, 1, sizeof text - 1, output);
        EXPECT_EQ(0, pclose(output)) << place;
        return {text, length};
    }
};

TEST_F(BaseDir, EndsBeforeTheFirstBinDirectoryOfThePathThatFits)
{
    constexpr size_t kNeeded = sizeof "/tmp/quillmark/app/bin/";
    EXPECT_EQ("0|/tmp/quillmark|", probe(install(kWorld / "bin/y/bin/model"), 100));
    EXPECT_EQ("0|/tmp/quillmark/app|", probe(install(kWorld / "app/bin/model"), kNeeded));
    EXPECT_EQ("-1|/tmp/quillmark/app/bin|", probe(kWorld / "app/bin/model", kNeeded - 1));
    EXPECT_EQ("-1|/tmp/quillmark/sbin/model|", probe(install(kWorld / "sbin/model"), 100));
    EXPECT_EQ("-1|/tmp/quillmark/binary/bin|", probe(install(kWorld / "binary/bin"), 100));
}

TEST_F(BaseDir, IsEmptyForAProgramInTheTopmostBinDirectoryAndUnknownWithoutTheProcessFiles)
{
    const fs::path model = install(kWorld / "bin/model");
    EXPECT_EQ("-1||Could not read the process exefile", probe(model, 100, kWorld));
    fs::create_directory(kWorld / "proc");
    ASSERT_EQ(0, mount("/proc", (kWorld / "proc").c_str(), nullptr, MS_BIND | MS_REC, nullptr));
    EXPECT_EQ("0||", probe(model, 100, kWorld));
}

}  // namespace
