#include "qm_root.hpp"
#include "qm_string_utils.hpp"
#include "test.hpp"
#include <slrealtime/IamRoot.hpp>

namespace {

using namespace qm::test;

int rootScopes = 0;

}  // namespace

// This program's root scope instead of the platform's: it gives no rights, counts, and spoils errno.
slrealtime::IamRoot::IamRoot() noexcept
{
    ++rootScopes;
    errno = EPROTO;
}

slrealtime::IamRoot::~IamRoot()
{
    --rootScopes;
    errno = EPROTO;
}

namespace {

/// A folder with a file, a folder and a link to itself in it.
struct Paths : testing::Test
{
    Paths()
    {
        sandbox::freshDirectory("/tmp/quillmark");
        sandbox::writeFile(at("file"), "text");
        fs::create_directory(at("dir"));
        fs::create_symlink("loop", at("loop"));
    }

    static std::string at(const std::string& name) { return "/tmp/quillmark/" + name; }
    static int32_t checkDir(const std::string& name) { return qm_fs_checkDir(at(name).c_str()); }
    static int32_t ensureDir(const std::string& name) { return qm_fs_ensureDirExists(at(name).c_str()); }
};

TEST_F(Paths, ANodeThatExistsIsFalseAndADirectoryIsZero)
{
    EXPECT_FALSE(qm_doesFsNodeExist(at("file").c_str()));
    EXPECT_FALSE(qm_doesFsNodeExist(at("dir").c_str()));
    EXPECT_TRUE(qm_doesFsNodeExist(at("none").c_str()));
    EXPECT_TRUE(qm_doesFsNodeExist(at("loop").c_str()));
    EXPECT_EQ(0, checkDir("dir"));
    EXPECT_EQ(-1, checkDir("none"));
    EXPECT_EQ(-2, checkDir("file"));
    EXPECT_EQ(ENOTDIR, errno);
    EXPECT_EQ(-2, checkDir("loop"));
    EXPECT_EQ(ELOOP, errno);
}

TEST_F(Paths, ADirectoryIsMadeOneLevelDeepWithinTheMask)
{
    umask(05);
    EXPECT_EQ(0, ensureDir("dir"));
    EXPECT_EQ(0, ensureDir("new"));
    EXPECT_EQ(fs::perms{0750}, fs::status(at("new")).permissions());
    EXPECT_EQ(-1, ensureDir("none/new"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, ensureDir("file"));
    EXPECT_EQ(EEXIST, errno) << "making it was tried";
}

TEST(FullFile, JoinsComponentsAsTheyAre)
{
    char path[32];
    qm_fullFile(3, path, "x", "y", "z");
    EXPECT_STREQ("x/y/z", path);
    qm_fullFile(1, path, "x");
    EXPECT_STREQ("x", path) << "nothing of the earlier text is left";
    qm_fullFile(3, path, "/x/", "/y", "");
    EXPECT_STREQ("/x///y/", path);
    qm_fullFile(-1, path);
    EXPECT_STREQ("", path);
}

TEST(ConfigBaseDir, NeedsRoomForItsTerminator)
{
    std::array<char, 20> path;
    path.fill('#');
    EXPECT_EQ(-1, qm_getConfigBaseDir(path.data(), 14));
    EXPECT_EQ('#', path[0]);
    EXPECT_EQ(0, qm_getConfigBaseDir(path.data(), 15));
    EXPECT_STREQ("/usr/quillmark", path.data());
    EXPECT_EQ('#', path[15]);
}

TEST(FormatString, HasExactlyTheMeasuredLengthAndThrowsWhatCallersExpect)
{
    EXPECT_EQ(std::string("a\0b", 3), qm::utils::formatString("a%cb", 0));
    EXPECT_EQ(std::string(100000, 'x'), qm::utils::formatString("%s", std::string(100000, 'x').c_str()));
    try {
        qm::utils::formatString("%ls", L"\u00e4");
        FAIL() << "a wide character that the C locale does not know was formatted";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ("basic_string::_M_construct null not valid", error.what());
    }
}

TEST_F(Paths, OpeningAsRootKeepsTheErrnoOfTheOpen)
{
    EXPECT_EQ(-1, qm_openAsRoot(at("dir").c_str(), O_WRONLY));
    EXPECT_EQ(EISDIR, errno);
    const int fd = qm_openAsRoot(at("file").c_str(), O_RDONLY);
    ASSERT_LE(0, fd);
    EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD));
    close(fd);
    EXPECT_EQ(0, rootScopes) << "the rights were dropped";
}

}  // namespace
