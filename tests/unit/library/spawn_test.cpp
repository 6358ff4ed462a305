#include "test.hpp"

namespace {

using namespace qm::test;

constexpr const char* kTooMany =
    "warning QM: qm_spawnExecutable(): Too many arguments specified, remaining arguments will be ignored";

/// What the child writes.
std::string spawn(const std::string& path, const std::string& name, const std::string& options)
{
    return qm::test::standardOutputOf([&] {
        const int child = qm_spawnExecutable(path.c_str(), name.c_str(), options.c_str());
        int status = -1;
        EXPECT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    });
}

TEST(SpawnedExecutable, HasItsPathAloneAndNoEnvironment)
{
    EXPECT_EQ("", spawn("/usr/bin", "env", ""));  // which would list it, or start its argument
    const std::string files = "/proc/self/cmdline /proc/self/environ";
    const char expected[] = "/usr/bin/cat\0/proc/self/cmdline\0/proc/self/environ";
    EXPECT_EQ(std::string(expected, sizeof expected), spawn("/usr/bin", "cat", files));
}

TEST(SpawnedExecutable, GetsUpTo18WordsSplitAtBlanks)
{
    const qm::test::LogCapture log;
    const std::string seventeen = " 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18";
    const std::string shown = "[2][3][4][5][6][7][8][9][10][11][12][13][14][15][16][17][18]";
    EXPECT_EQ("[a][b\tc]", spawn("/usr/bin", "printf", "   [%s]  a   b\tc "));
    EXPECT_EQ(shown, spawn("/usr/bin", "printf", "[%s]" + seventeen));
    EXPECT_THAT(log.notes(), IsEmpty());
    EXPECT_EQ(shown, spawn("/usr/bin", "printf", "[%s]" + seventeen + " 19 20"));
    EXPECT_THAT(log.notes(), ElementsAre(kTooMany));
}

TEST(SpawnedExecutable, IsRefusedWithAPathOf100CharactersOrWithoutAFile)
{
    const qm::test::LogCapture log;
    EXPECT_EQ("", spawn(std::string(99 - 12, '/') + "usr/bin", "true", ""));
    EXPECT_EQ(-1, qm_spawnExecutable((std::string(100 - 12, '/') + "usr/bin").c_str(), "true", ""));
    errno = EPERM;
    EXPECT_EQ(-1, qm_spawnExecutable("/usr", "missing", "a"));
    EXPECT_THAT(log.notes(), ElementsAre("info QM: qm_spawnExecutable(): Executable path too long",
                                         "info QM: posix_spawn() failed: No such file or directory"));
}

}  // namespace
