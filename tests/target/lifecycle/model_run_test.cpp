#include "test.hpp"

namespace {

using namespace qm::test;

const fs::path kTagDirectory = "/tmp/quillmark";
const fs::path kTag = kTagDirectory / "model_uuid";
const fs::path kModels = "/opt/models";
const fs::path kNote = "/dev/shm/note";

/// Models, each a copy of the probe with a UUID of its own; nothing has run yet.
struct ModelRun : testing::Test
{
    ModelRun()
    {
        for (const fs::path& path : {kTagDirectory, kModels, kNote.parent_path()})
            sandbox::freshDirectory(path);
    }

    static void install(const std::string& model, const std::string& uuid)
    {
        sandbox::writeFile(kModels / model / "misc/UUID", uuid);
        fs::create_directories(kModels / model / "bin");
        fs::copy_file(QM_PROBE, kModels / model / "bin/run", fs::copy_options::skip_existing);
    }

    static std::string run(const std::string& model, const std::string& acts)
    {
        return runProgram(kModels / model / "bin/run", acts);
    }
    static std::string runProgram(const fs::path& program, const std::string& acts)
    {
        return outputOf(program.string() + " " + acts);
    }
};

const std::string kFound = "debug QM: Tag model run: Found existing checksum file\n";
const std::string kMismatch = "debug QM: Tag model run: Checksum mismatch. Replacing checksum\n";
const std::string kReplaced = kFound + "debug QM: Failed to read old checksum file: Success\n" + kMismatch;
const std::string kAlready = "debug QM: Tag model run: Model already tagged\n";

TEST_F(ModelRun, KeepsPersistentMemoryUntilAnotherModelIsLoaded)
{
    install("a", "uuid a\nbuilt today\n");
    install("b", "uuid b\n");
    EXPECT_EQ("first load\n" + kReplaced, run("a", "init state remember"));
    EXPECT_EQ("uuid a\n", sandbox::readFile(kTag));
    install("a", "uuid a\nbuilt tomorrow\n");
    EXPECT_EQ("no first load\n" + kFound + "debug QM: Tag model run: Existing checksum file matches\n",
              run("a", "check state"));
    EXPECT_TRUE(fs::exists(kNote));
    EXPECT_EQ("first load\n" + kFound + kMismatch, run("b", "check state"));
    EXPECT_FALSE(fs::exists(kNote));
    EXPECT_EQ("uuid b\n", sandbox::readFile(kTag));
}

TEST_F(ModelRun, IsDecidedAndTaggedOnceHoweverOftenAsked)
{
    install("a", "uuid a\n");
    EXPECT_EQ("first load\nno first load\ntagged\ntagged\n" + kReplaced + kAlready + kAlready + kAlready,
              run("a", "check state clear check state tag tag"));
}

TEST_F(ModelRun, DeclaredAFirstLoadKeepsPersistentMemoryAndIsTagged)
{
    install("a", "uuid a\n");
    EXPECT_EQ("no first load\nfirst load\n" + kReplaced, run("a", "remember clear state set check state"));
    EXPECT_TRUE(fs::exists(kNote));
    EXPECT_EQ("uuid a\n", sandbox::readFile(kTag));
}

TEST_F(ModelRun, IsKnownByTheFirst199CharactersOfItsFirstLine)
{
    const std::string x(198, 'x');
    install("a", x + "y and more");
    sandbox::writeFile(kTag, x + "y");
    EXPECT_EQ(0U, run("a", "check state").find("no first load"));
    sandbox::writeFile(kTag, x + "z");
    EXPECT_EQ(0U, run("a", "check state").find("first load"));
    EXPECT_EQ(x + "y", sandbox::readFile(kTag));
}

TEST_F(ModelRun, WithoutItsUuidFileIsAFirstLoadThatKeepsTheTag)
{
    install("a", "uuid a\n");
    fs::remove(kModels / "a/misc/UUID");
    sandbox::writeFile(kTag, "uuid b\n");
    const std::string why = "Failed to open checksum file: No such file or directory\n";
    EXPECT_EQ("first load\nnot tagged\ntagged\ninfo QM: isFirstModelRun: " + why +
                  "info QM: Tag model run: " + why + kAlready + kAlready,
              run("a", "check state tag tag"));
    EXPECT_EQ("uuid b\n", sandbox::readFile(kTag));
}

TEST_F(ModelRun, WithAnEmptyUuidFileLosesTheTagWithoutAFailure)
{
    install("a", "");
    sandbox::writeFile(kTag, "uuid b\n");
    const std::string why = "debug QM: Failed to read new checksum file: Success\n";
    EXPECT_EQ("tagged\n" + kFound + why + kMismatch + why, run("a", "tag"));
    EXPECT_EQ("", sandbox::readFile(kTag));
}

TEST_F(ModelRun, OutsideABinDirectoryIsAFirstLoadThatIsNeverTagged)
{
    fs::copy_file(QM_PROBE, kModels / "run");
    const std::string why = "Failed to find checksum path: Could not find /bin/ folder in model path\n";
    const std::string tag = "info QM: Tag model run: " + why;
    EXPECT_EQ("not tagged\nnot tagged\nfirst load\n" + tag + tag + "info QM: isFirstModelRun: " + why + tag,
              runProgram(kModels / "run", "tag tag check state"));
}

TEST_F(ModelRun, ThatCannotWriteItsTagIsNotTaggedAndMayTryAgain)
{
    install("a", "uuid a\n");
    fs::create_symlink("/dev/full", kTag);
    EXPECT_EQ("not tagged\n" + kFound + kMismatch +
                  "info QM: Tag model run: Failed to write checksum file: No space left on device\n",
              run("a", "tag"));
    fs::remove(kTag);
    fs::create_directory(kTag);
    const std::string why = "info QM: Tag model run: Failed to open/create checksum file: Is a directory\n";
    EXPECT_EQ("not tagged\nnot tagged\n" + why + why, run("a", "tag tag"));
}

TEST_F(ModelRun, EndsWithItsExitHandlersInOrderAndThenItsTagHoweverItIsStopped)
{
    install("a", "uuid a\n");
    const std::string handlers = "exit handler A, not tagged\nexit handler B, not tagged\n" + kReplaced;
    for (const auto& [end, terminated] :
         {std::pair("run-to-SIGTERM", "terminated\n"), std::pair("run-to-SIGINT", "terminated\n"),
          std::pair("run-to-exit", ""), std::pair("run-to-exit-elsewhere", "")}) {
        EXPECT_EQ("first load\n" + (terminated + handlers), run("a", end)) << end;
        EXPECT_EQ(0U, run("a", "check state").find("no first load")) << end;
        fs::remove(kTag);
    }
}

TEST_F(ModelRun, MakesTheTagsDirectory)
{
    sandbox::freshDirectory("/tmp/qm-none/covers/tmp");
    while (umount2(kTagDirectory.c_str(), MNT_DETACH) == 0) {
    }
    ASSERT_TRUE(fs::remove(kTagDirectory));
    install("a", "uuid a\n");
    EXPECT_EQ("tagged\n" + kReplaced, run("a", "tag"));
    EXPECT_EQ(fs::perms(0755), fs::status(kTagDirectory).permissions());
}

}  // namespace
