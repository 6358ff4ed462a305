#include "interrupt_test.hpp"

namespace {

using namespace qm::test;

const std::string kNewId = kUioDriver + "new_id";
const std::string kConfig = kBoard + "config";

TEST_F(InterruptTest, DetachLowersAndPlacesAThreadThatWasNotRaisedHere)
{
    kernel.priorities[kThread] = 61;
    EXPECT_EQ(0, qm_uio_interruptAttach(context_));
    qm_uio_interruptDetach(std::exchange(context_, nullptr));
    EXPECT_THAT(kernel.raised, ElementsAre(std::pair(kThread, 50)));
    EXPECT_EQ("0\n", sandbox::readFile(kAffinity));
}

TEST_F(InterruptTest, IdentifiersArePaddedWithBlanks)
{
    fs::remove_all(kBoard + "uio");
    context_->pciInfo.VendorId = 0x10;
    context_->pciInfo.DeviceId = 0x1;
    kernel.answers[kNewId] = [] { return giveUioDevice(), 9; };
    EXPECT_EQ(7, qm_uio_bindDeviceToUio(&context_->pciInfo));
    EXPECT_THAT(kernel.writes, ElementsAre(Write{kNewId, -1, "  10    1"}));
    EXPECT_EQ(fs::perms{0666}, fs::status(kNode).permissions());
}

auto byDirectory(const std::string& path)
{
    return [path] { fs::remove(path), fs::create_directory(path); };
}

/** The kernel's answer to each write into a file. */
auto answer(const std::string& path, ssize_t result)
{
    return [path, result] { kernel.answers[path] = [result] { return result; }; };
}

auto without(const std::string& path)
{
    return [path] { fs::remove_all(path); };
}

struct Obstacle
{
    const char* name;
    std::function<void()> put;
    int result;
    std::string lastLine;
    std::string text = "";  // none: the UIO driver does not have the board, and then does not take it
};

struct Unattachable : InterruptTest, testing::WithParamInterface<Obstacle>
{};

TEST_P(Unattachable, GivesErrnoAndTheReasonAndCanBeDetached)
{
    const auto& [name, put, result, lastLine, text] = GetParam();
    const std::string unbindable = "INT MAP -> Failed to bind UIO device: ";
    if (text.empty()) fs::remove_all(kBoard + "uio");
    put();
    EXPECT_EQ(result, qm_uio_interruptAttach(context_));
    EXPECT_EQ(text.empty() ? unbindable + strerror(-result) + "\n" : text, pQmErrorStr);
    EXPECT_EQ(lastLine.empty() ? "" : "info QM: bindDeviceToUio: " + lastLine,
              log_.lines().empty() ? "" : log_.lines().back());
}

const Obstacle kObstacles[] = {
    {"TheDriverIsNotLoaded", without(kUioDriver), -ENOENT, "open(new_id) failed: No such file or directory"},
    {"TheIdentifiersAreRefused", answer(kNewId, -EINVAL), -EINVAL,
     "write(new_id) failed: Invalid argument (bytes=-1)"},
    {"TheOtherDriverKeepsIt", byDirectory(kUnbind), -EISDIR, "unbind existing driver failed."},
    {"TheDriverHasNoBindFile", without(kUioDriver + "bind"), -ENOENT, "bind to uio_quillmark failed."},
    {"TheDriverDoesNotTakeIt", [] {}, -ENOENT, ""},
    {"NoUioDeviceIsMade", [] { fs::create_directories(kBoard + "uio/uiox"); }, -ENODEV, ""},
    {"ItsNodeIsMissing", without(kNode), -ENOENT, "",
     "INT MAP -> Failed to bind UIO device: No such file or directory\n"},
    {"ItsNodeCannotBeOpened", byDirectory(kNode), -EISDIR, "",
     "INT MAP -> Failed to open UIO device /dev/uio7: Is a directory\n"},
    {"ItsConfigurationIsMissing", without(kConfig), -ENOENT, "",
     "Failed to open PCI configuration file: No such file or directory\n"},
    {"ItsConfigurationHasFiveBytes", [] { fs::resize_file(kConfig, 5); }, -EIO, "",
     "Failed to read upper command byte: Input/output error\n"},
    {"ItsConfigurationIsReadOnly", answer(kConfig, -EPERM), -EPERM, "",
     "Failed to write upper command byte: Operation not permitted\n"}};

INSTANTIATE_TEST_SUITE_P(Because, Unattachable, testing::ValuesIn(kObstacles), byName);

TEST_F(InterruptTest, AWaitGivesTheKernelsCountAndNeverASuccessForLess)
{
    // What is written into the pipe is what the kernel counts.
    fs::remove(kNode);
    ASSERT_EQ(0, mkfifo(kNode.c_str(), 0600));
    ASSERT_EQ(0, qm_uio_interruptAttach(context_));
    ASSERT_EQ(7, write(context_->uiofd, "\x04\x03\x02\x01???", 7));
    EXPECT_EQ(0, qm_uio_interruptWait(context_));
    EXPECT_EQ(0x01020304, context_->intCount);
    EXPECT_EQ(-EIO, qm_uio_interruptWait(context_));
    EXPECT_STREQ("Interrupt Wait: Failed to read UIO device: Input/output error\n", pQmErrorStr);
    close(std::exchange(context_->uiofd, -1));
    EXPECT_EQ(-EBADF, qm_uio_interruptWait(context_));
}

TEST_F(InterruptTest, AFailedEnableTellsErrnoButTheTextOfTheResult)
{
    ASSERT_EQ(0, qm_uio_interruptAttach(context_));
    answer(kConfig, -EROFS)();
    EXPECT_EQ(-EROFS, qm_uio_enableInterrupt(context_));
    EXPECT_STREQ("Interrupt Enable: Failed to write config file: Unknown error -1\n", pQmErrorStr);
    answer(kConfig, 0)();
    EXPECT_EQ(-EIO, qm_uio_enableInterrupt(context_));
    EXPECT_STREQ("Interrupt Enable: Failed to write config file: Success\n", pQmErrorStr);
}

TEST_F(InterruptTest, AFixOfNoRegisterLeavesTheCommandRegisterAlone)
{
    ASSERT_EQ(0, qm_uio_interruptAttach(context_));
    kernel.writes.clear();
    context_->qm_int_fix = {false, nullptr, 0x44434240, 0x34333231};
    EXPECT_EQ(0, qm_uio_interruptEnableFix(context_));
    EXPECT_EQ(0, qm_uio_enableInterrupt(context_));
    EXPECT_THAT(kernel.writes, ElementsAre(Write{kNode, 0, "1234"}, Write{kNode, 0, "@BCD"}));
}

TEST_F(InterruptTest, AFixThatTheDriverDoesNotTakeStaysRequested)
{
    ASSERT_EQ(0, qm_uio_interruptAttach(context_));
    answer(kNode, -ENOSYS)();
    EXPECT_EQ(-ENOSYS, qm_uio_interruptEnableFix(context_));
    EXPECT_STREQ("Failed to enable Quillmark interrupt fix: Function not implemented\n", pQmErrorStr);
    EXPECT_TRUE(context_->qm_int_fix.requested_by_user);
    kernel.answers[kNode] = [calls = 0]() mutable { return ++calls == 1 ? 4 : 2; };
    EXPECT_EQ(-EIO, qm_uio_interruptEnableFix(context_));
    EXPECT_STREQ("Failed to write Quillmark interrupt fix int mask: Input/output error\n", pQmErrorStr);
}

TEST_F(InterruptTest, MissingArgumentsAreRefused)
{
    qm_InterruptContext* context = nullptr;
    EXPECT_EQ(-1, qm_uio_createInterruptContext(nullptr, &context_->pciInfo));
    EXPECT_STREQ("Invalid nullptr passed for contextOut", pQmErrorStr);
    EXPECT_EQ(-EINVAL, qm_uio_createInterruptContext(&context, nullptr));
    EXPECT_STREQ("Invalid nullptr passed for pciInfo", pQmErrorStr);
    EXPECT_EQ(-1, qm_uio_interruptAttach(nullptr));
    for (const auto function : {qm_uio_interruptWait, qm_uio_enableInterrupt, qm_uio_interruptEnableFix,
                                qm_uio_setIrqProps, qm_uio_resetIrqProps}) {
        pQmErrorStr[0] = '\0';
        EXPECT_EQ(-EINVAL, function(nullptr));
        EXPECT_STREQ("Invalid nullptr passed for context", pQmErrorStr);
    }
    EXPECT_EQ(-1, qm_uio_bindDeviceToUio(nullptr));
    qm_uio_interruptDetach(nullptr);
}

}  // namespace
