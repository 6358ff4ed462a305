#include "interrupt_test.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ostream>

namespace qm::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(InterruptTest, AttachDisablesTheInterruptAndEnableWritesTheByteWithoutTheBit)
{
    for (const uint16_t command : {uint16_t{0x0300}, uint16_t{0x0700}}) {
        world_.add(board(0x1234, 0x11E8).at(0x1a, 0x1f).word(4, command));
        kernel.writes.clear();
        qm_InterruptContext context = *context_;
        EXPECT_EQ(0, qm_uio_interruptAttach(&context));
        EXPECT_EQ(0, qm_uio_enableInterrupt(&context));
        EXPECT_THAT(kernel.writes,
                    ElementsAre(Write{kBoard + "config", 5, "\x07"}, Write{kBoard + "config", 5, "\x03"}));
        close(context.uiofd);
        close(context.configfd);
    }
}

TEST_F(InterruptTest, DetachLowersAndPlacesAThreadThatWasNotRaisedHere)
{
    kernel.priorities[kThread] = 61;
    EXPECT_EQ(0, qm_uio_interruptAttach(context_));
    qm_uio_interruptDetach(std::exchange(context_, nullptr));
    EXPECT_THAT(kernel.raised, ElementsAre(std::pair(kThread, 50)));
    EXPECT_EQ("0\n", sandbox::readFile(kAffinity));
}

TEST_F(InterruptTest, ABoardThatHasAUioDeviceIsNotBoundAgain)
{
    std::filesystem::create_directories(kBoard + "uio/power");
    ASSERT_EQ(0, chmod(kNode.c_str(), 0600));
    EXPECT_EQ(7, qm_uio_bindDeviceToUio(&context_->pciInfo));
    EXPECT_THAT(kernel.writes, IsEmpty());
    struct stat status = {};
    EXPECT_EQ(0, stat(kNode.c_str(), &status));
    EXPECT_EQ(0666U, status.st_mode & 0777);
}

TEST_F(InterruptTest, IdentifiersArePaddedWithBlanks)
{
    std::filesystem::remove_all(kBoard + "uio");
    context_->pciInfo.VendorId = 0x10;
    context_->pciInfo.DeviceId = 0x1;
    kernel.answers[kUioDriver + "new_id"] = [] { return giveUioDevice(), 9; };
    EXPECT_EQ(7, qm_uio_bindDeviceToUio(&context_->pciInfo));
    EXPECT_THAT(kernel.writes, ElementsAre(Write{kUioDriver + "new_id", -1, "  10    1"}));
}

TEST_F(InterruptTest, ABoardOfAnotherDriverIsTakenOver)
{
    std::filesystem::remove_all(kBoard + "uio");
    kernel.answers[kUioDriver + "new_id"] = [] { return -EEXIST; };
    kernel.answers[kUnbind] = [] { return std::filesystem::remove(kBoard + "driver"), 12; };
    kernel.answers[kUioDriver + "bind"] = [] { return giveUioDevice(), 12; };
    EXPECT_EQ(7, qm_uio_bindDeviceToUio(&context_->pciInfo));
    EXPECT_THAT(kernel.writes,
                ElementsAre(Write{kUioDriver + "new_id", -1, "1234 11e8"}, Write{kUnbind, -1, "0000:1a:1f.0"},
                            Write{kUioDriver + "bind", -1, "0000:1a:1f.0"}));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

struct Obstacle
{
    const char* name;
    void (*put)();
    int result;
    const char* text;
    const char* lastLine = "";
};

void PrintTo(const Obstacle& row, std::ostream* out)
{
    *out << row.name;
}

class Unattachable : public InterruptTest, public testing::WithParamInterface<Obstacle>
{};

/** The UIO driver does not have the board yet. */
class Unbindable : public Unattachable
{};

TEST_P(Unattachable, GivesErrnoAndTheReasonAndCanBeDetached)
{
    GetParam().put();
    EXPECT_EQ(GetParam().result, qm_uio_interruptAttach(context_));
    EXPECT_STREQ(GetParam().text, pQmErrorStr);
}

TEST_P(Unbindable, GivesErrnoAndLogsTheReason)
{
    std::filesystem::remove_all(kBoard + "uio");
    GetParam().put();
    EXPECT_EQ(GetParam().result, qm_uio_interruptAttach(context_));
    EXPECT_EQ(std::string("INT MAP -> Failed to bind UIO device: ") + GetParam().text + "\n", pQmErrorStr);
    const auto lines = log_.lines();
    EXPECT_EQ(GetParam().lastLine, lines.empty() ? "" : lines.back());
}

void replaceByDirectory(const std::string& path)
{
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
}

const auto kNameOf = [](const auto& row) { return std::string(row.param.name); };

INSTANTIATE_TEST_SUITE_P(
    Because, Unbindable,
    testing::Values(
        Obstacle{"TheDriverIsNotLoaded", [] { std::filesystem::remove_all(kUioDriver); }, -ENOENT,
                 "No such file or directory",
                 "info QM: bindDeviceToUio: open(new_id) failed: No such file or directory"},
        Obstacle{"TheIdentifiersAreRefused",
                 [] { kernel.answers[kUioDriver + "new_id"] = [] { return -EINVAL; }; }, -EINVAL,
                 "Invalid argument",
                 "info QM: bindDeviceToUio: write(new_id) failed: Invalid argument (bytes=-1)"},
        Obstacle{"TheIdentifiersAreCut", [] { kernel.answers[kUioDriver + "new_id"] = [] { return 5; }; },
                 -EIO, "Input/output error",
                 "info QM: bindDeviceToUio: write(new_id) failed: Input/output error (bytes=5)"},
        Obstacle{"TheOtherDriverKeepsIt", [] { replaceByDirectory(kUnbind); }, -EISDIR, "Is a directory",
                 "info QM: bindDeviceToUio: unbind existing driver failed."},
        Obstacle{"TheDriverHasNoBindFile", [] { std::filesystem::remove(kUioDriver + "bind"); }, -ENOENT,
                 "No such file or directory", "info QM: bindDeviceToUio: bind to uio_quillmark failed."},
        Obstacle{"TheDriverDoesNotTakeIt", [] {}, -ENOENT, "No such file or directory"},
        Obstacle{"NoUioDeviceIsMade", [] { std::filesystem::create_directories(kBoard + "uio/uiox"); },
                 -ENODEV, "No such device"},
        Obstacle{"ItsNodeIsMissing",
                 [] {
                     std::filesystem::remove(kNode);
                     kernel.answers[kUioDriver + "bind"] = [] { return InterruptTest::giveUioDevice(), 12; };
                 },
                 -ENOENT, "No such file or directory"}),
    kNameOf);

INSTANTIATE_TEST_SUITE_P(
    Because, Unattachable,
    testing::Values(Obstacle{"ItsNodeCannotBeOpened", [] { replaceByDirectory(kNode); }, -EISDIR,
                             "INT MAP -> Failed to open UIO device /dev/uio7: Is a directory\n"},
                    Obstacle{"ItsConfigurationIsMissing", [] { std::filesystem::remove(kBoard + "config"); },
                             -ENOENT, "Failed to open PCI configuration file: No such file or directory\n"},
                    Obstacle{"ItsConfigurationHasFiveBytes",
                             [] { std::filesystem::resize_file(kBoard + "config", 5); }, -EIO,
                             "Failed to read upper command byte: Input/output error\n"},
                    Obstacle{"ItsConfigurationIsReadOnly",
                             [] { kernel.answers[kBoard + "config"] = [] { return -EPERM; }; }, -EPERM,
                             "Failed to write upper command byte: Operation not permitted\n"},
                    Obstacle{"ItsConfigurationTakesNothing",
                             [] { kernel.answers[kBoard + "config"] = [] { return 0; }; }, -EIO,
                             "Failed to write upper command byte: Input/output error\n"}),
    kNameOf);

/** The node is a pipe: what is written into it is what the kernel counts. */
class Waiting : public InterruptTest
{
public:
    Waiting()
    {
        std::filesystem::remove(kNode);
        EXPECT_EQ(0, mkfifo(kNode.c_str(), 0600));
        EXPECT_EQ(0, qm_uio_interruptAttach(context_));
    }
};

TEST_F(Waiting, GivesTheKernelsCountAndNeverASuccessForLess)
{
    ASSERT_EQ(7, write(context_->uiofd,
                       "\x04\x03\x02\x01"
                       "abc",
                       7));
    EXPECT_EQ(0, qm_uio_interruptWait(context_));
    EXPECT_EQ(0x01020304, context_->intCount);
    EXPECT_EQ(-EIO, qm_uio_interruptWait(context_));
    EXPECT_STREQ("Interrupt Wait: Failed to read UIO device: Input/output error\n", pQmErrorStr);
    close(std::exchange(context_->uiofd, -1));
    EXPECT_EQ(-EBADF, qm_uio_interruptWait(context_));
}

TEST_F(Waiting, CanBeCancelled)
{
    pthread_t thread{};
    const auto wait = [](void* context) -> void* {
        (void)qm_uio_interruptWait(static_cast<qm_InterruptContext*>(context));
        return nullptr;
    };
    ASSERT_EQ(0, pthread_create(&thread, nullptr, wait, context_));
    ASSERT_EQ(0, pthread_cancel(thread));
    void* result = nullptr;
    ASSERT_EQ(0, pthread_join(thread, &result));
    EXPECT_EQ(PTHREAD_CANCELED, result);
}

class Enabling : public InterruptTest
{
public:
    Enabling()
    {
        EXPECT_EQ(0, qm_uio_interruptAttach(context_));
        kernel.writes.clear();
    }
};

TEST_F(Enabling, TellsErrnoOfAFailureButTheTextOfTheResult)
{
    kernel.answers[kBoard + "config"] = [] { return -EROFS; };
    EXPECT_EQ(-EROFS, qm_uio_enableInterrupt(context_));
    EXPECT_STREQ("Interrupt Enable: Failed to write config file: Unknown error -1\n", pQmErrorStr);
    kernel.answers[kBoard + "config"] = [] { return 0; };
    EXPECT_EQ(-EIO, qm_uio_enableInterrupt(context_));
    EXPECT_STREQ("Interrupt Enable: Failed to write config file: Success\n", pQmErrorStr);
}

TEST_F(Enabling, WithTheFixSetsBitsOfTheBoardsRegister)
{
    uint32_t boardRegister = 0x80000001;
    context_->qm_int_fix = {false, &boardRegister, 0x44434240, 0x34333231};
    EXPECT_EQ(0, qm_uio_interruptEnableFix(context_));
    EXPECT_THAT(kernel.writes, ElementsAre(Write{kNode, 0, "1234"}, Write{kNode, 0, "@BCD"}));
    EXPECT_EQ(0, qm_uio_enableInterrupt(context_));
    EXPECT_EQ(0xC4434241U, boardRegister);
    context_->qm_int_fix.target_register = nullptr;
    EXPECT_EQ(0, qm_uio_enableInterrupt(context_));
    EXPECT_EQ(2U, kernel.writes.size()) << "the command register is left alone";
}

TEST_F(Enabling, AFixThatTheDriverRefusesIsReportedAndStaysRequested)
{
    kernel.answers[kNode] = [] { return -ENOSYS; };
    EXPECT_EQ(-ENOSYS, qm_uio_interruptEnableFix(context_));
    EXPECT_STREQ("Failed to enable Quillmark interrupt fix: Function not implemented\n", pQmErrorStr);
    EXPECT_TRUE(context_->qm_int_fix.requested_by_user);
    kernel.writes.clear();
    kernel.answers[kNode] = [] { return kernel.writes.size() == 1 ? 4 : 2; };
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

}  // namespace qm::test
