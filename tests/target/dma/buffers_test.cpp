#include "buffer_driver.hpp"
#include "log_capture.hpp"
#include "process.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <sys/mman.h>

#include <fstream>
#include <ostream>

// Present in builds with the address sanitizer: what is allocated in between is not looked for.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace qm::test {

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr uintptr_t kPhysical = 0x123456000;

/** A record that the library gives up on purpose is not a leak. */
class RecordIsGivenUp
{
public:
    RecordIsGivenUp()
    {
        if (__lsan_disable != nullptr) __lsan_disable();
    }
    ~RecordIsGivenUp()
    {
        if (__lsan_enable != nullptr) __lsan_enable();
    }
    RecordIsGivenUp(const RecordIsGivenUp&) = delete;
    RecordIsGivenUp& operator=(const RecordIsGivenUp&) = delete;
};

size_t mappedBuffers()
{
    std::ifstream maps("/proc/self/maps");
    size_t count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find("/dev/qm-udma-buf") == std::string::npos ? 0 : 1;
    return count;
}

std::string address(const void* pointer)
{
    return "0x" + testing::PrintToString(pointer).substr(2);
}

class Dma : public testing::Test
{
public:
    void TearDown() override { EXPECT_EQ(descriptors_, openDescriptors()); }

protected:
    char* alloc(size_t size = 8192)
    {
        return static_cast<char*>(qm_allocPhysicalMemory_v2(size, &physical_));
    }

    BufferDriver driver_;
    LogCapture log_;
    uintptr_t physical_ = 0xBAD;

private:
    std::vector<std::string> descriptors_ = openDescriptors();
};

struct Size
{
    size_t asked, made;
    std::vector<std::string> log;
};

class DmaSize : public Dma, public testing::WithParamInterface<Size>
{};

TEST_P(DmaSize, IsWhatIsAskedForButNeverASinglePage)
{
    const Size& size = GetParam();
    char* const buffer = alloc(size.asked);
    ASSERT_NE(nullptr, buffer);
    buffer[0] = 'f';
    buffer[size.made - 1] = 'l';
    EXPECT_THAT(driver_.commands, ElementsAre("create qm-udma-buf0 " + std::to_string(size.made) + "\n"));
    std::vector<std::string> log = size.log;
    log.emplace_back("debug QM: Mapping /dev/qm-udma-buf0");
    log.emplace_back("debug QM: Physical address: 0x23456000");
    EXPECT_EQ(log, log_.lines());
    qm_freePhysicalMemory(buffer);
}

INSTANTIATE_TEST_SUITE_P(
    Of, DmaSize,
    testing::Values(Size{0,
                         8192,
                         {"debug QM: Allocating 0x0 bytes of physical memory",
                          "debug QM:  --> Single pages don't go into CMA. Allocating 0x2000"}},
                    Size{4096,
                         8192,
                         {"debug QM: Allocating 0x1000 bytes of physical memory",
                          "debug QM:  --> Single pages don't go into CMA. Allocating 0x2000"}},
                    Size{4097, 4097, {"debug QM: Allocating 0x1001 bytes of physical memory"}},
                    Size{0x100000010, 0x100000010, {"debug QM: Allocating 0x10 bytes of physical memory"}}),
    [](const auto& row) { return std::to_string(row.param.asked); });

TEST_F(Dma, ABufferIsTheDriversMemoryUntilItIsFreed)
{
    char* const buffer = alloc();
    ASSERT_NE(nullptr, buffer);
    EXPECT_EQ(kPhysical, physical_);
    const std::string node = "/dev/qm-udma-buf0";
    std::string("to the board").copy(buffer + 4096, 12);
    EXPECT_EQ("to the board", sandbox::readFile(node).substr(4096, 12));
    EXPECT_EQ(fs::perms{0666}, fs::status(node).permissions());
    EXPECT_EQ("2\n", sandbox::readFile(BufferDriver::attribute("qm-udma-buf0", "sync_mode")));

    qm_freePhysicalMemory(buffer);
    EXPECT_THAT(driver_.commands, ElementsAre("create qm-udma-buf0 8192\n", "delete qm-udma-buf0\n"));
    EXPECT_EQ(0U, mappedBuffers());
    EXPECT_THAT(log_.linesFrom("info"), IsEmpty());
}

TEST_F(Dma, LeftoversAreDeletedWhileTheProcessHasNoBuffer)
{
    for (const char* name : {"qm-udma-buf2", "qm-udma-buf10", "qm-udma-buf-of-mine", "udmabuf0"})
        driver_.make(name, 4096);
    char* const first = alloc();
    char* const second = alloc();
    EXPECT_THAT(driver_.commands,
                ElementsAre("delete qm-udma-buf-of-mine\n", "delete qm-udma-buf10\n", "delete qm-udma-buf2\n",
                            "create qm-udma-buf0 8192\n", "create qm-udma-buf1 8192\n"));
    qm_udmabuf_Handle* const handle = qm_udmabuf_allocBuffer(4096);
    ASSERT_NE(nullptr, handle);
    qm_freePhysicalMemory(first);
    driver_.commands.clear();
    char* const third = alloc();
    EXPECT_THAT(driver_.commands, ElementsAre("create qm-udma-buf0 8192\n"));

    qm_freePhysicalMemory(third);
    qm_freePhysicalMemory(second);
    driver_.commands.clear();
    char* const last = alloc();
    EXPECT_THAT(driver_.commands, ElementsAre("delete qm-udma-buf2\n", "create qm-udma-buf0 8192\n"))
        << "a buffer that was not made through the map goes too";
    qm_freePhysicalMemory(last);
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(handle));
}

TEST_F(Dma, TheLowestFreeNumberIsTaken)
{
    driver_.make("qm-udma-buf0", 1);
    driver_.make("qm-udma-buf2", 1);
    qm_udmabuf_Handle* const one = qm_udmabuf_allocBuffer(100);
    qm_udmabuf_Handle* const three = qm_udmabuf_allocBuffer(5000);
    ASSERT_TRUE(one != nullptr && three != nullptr);
    EXPECT_STREQ("qm-udma-buf1", one->deviceName);
    EXPECT_STREQ("qm-udma-buf3", three->deviceName);
    EXPECT_EQ(100U, one->length);
    EXPECT_EQ(kPhysical, three->physicalAddr);
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(one));
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(three));
    EXPECT_FALSE(fs::exists("/dev/qm-udma-buf1"));
}

TEST_F(Dma, ThereAreTwoHundredAndFiftySixBuffers)
{
    for (int number = 0; number < 255; ++number)
        sandbox::writeFile("/dev/qm-udma-buf" + std::to_string(number), "");
    qm_udmabuf_Handle* const last = qm_udmabuf_allocBuffer(8192);
    ASSERT_NE(nullptr, last);
    EXPECT_STREQ("qm-udma-buf255", last->deviceName);
    driver_.commands.clear();
    EXPECT_EQ(nullptr, qm_udmabuf_allocBuffer(8192));
    EXPECT_THAT(driver_.commands, IsEmpty());
    EXPECT_THAT(log_.linesFrom("info"),
                ElementsAre("error QM: Maximum of 256 buffers are supported by the u-dma-buf-mgr."));
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(last));
}

struct Obstacle
{
    const char* name;
    void (*put)(BufferDriver&);
    std::vector<std::string> log;
};

void PrintTo(const Obstacle& row, std::ostream* out)
{
    *out << row.name;
}

class DmaUnusable : public Dma, public testing::WithParamInterface<Obstacle>
{};

TEST_P(DmaUnusable, GivesNullWithTheReasonAndNothingStaysMapped)
{
    GetParam().put(driver_);
    EXPECT_EQ(nullptr, alloc());
    EXPECT_EQ(0U, physical_);
    std::vector<std::string> log = GetParam().log;
    EXPECT_EQ(log, log_.linesFrom("info"));
    EXPECT_EQ(0U, mappedBuffers());
    EXPECT_THAT(driver_.commands, testing::Not(testing::Contains("delete qm-udma-buf0\n")));
}

/** Removes a file of every new buffer. */
template <const char* File>
void without(BufferDriver& driver)
{
    driver.afterMake = [](const std::string& name) { fs::remove(BufferDriver::attribute(name, File)); };
}
constexpr char kSyncMode[] = "sync_mode";
constexpr char kPhysAddr[] = "phys_addr";
constexpr char kSize[] = "size";

std::string missing(const std::string& file)
{
    return "error QM: Failed to open /sys/class/u-dma-buf/qm-udma-buf0/" + file +
           ": No such file or directory";
}

const std::string kNotCreated = "info QM: Could not create buffer.";

INSTANTIATE_TEST_SUITE_P(
    Because, DmaUnusable,
    testing::Values(
        Obstacle{"TheManagerIsMissing",
                 [](BufferDriver&) { BufferDriver::removeManager(); },
                 {"warning QM: Failed to open u-dma-buf-mgr: No such file or directory",
                  "info QM: Failed to clear old u-dma-buffers. Do you have the required kernel modules "
                  "inserted?"}},
        Obstacle{"TheManagerRefuses",
                 [](BufferDriver& driver) { driver.refuses = true; },
                 {"error QM: Failed to set u-dma-buf permissions: No such file or directory",
                  missing(kSyncMode), kNotCreated}},
        Obstacle{"TheSyncModeIsMissing", &without<kSyncMode>, {missing(kSyncMode), kNotCreated}},
        Obstacle{"TheNodeCannotBeOpened",
                 [](BufferDriver& driver) {
                     driver.afterMake = [](const std::string& name) {
                         fs::remove(BufferDriver::node(name));
                         fs::create_directory(BufferDriver::node(name));
                     };
                 },
                 {"error QM: Failed to open /dev/qm-udma-buf0: Is a directory", kNotCreated}},
        Obstacle{"TheAddressIsMissing", &without<kPhysAddr>, {missing(kPhysAddr), kNotCreated}},
        Obstacle{"TheSizeIsMissing", &without<kSize>, {missing(kSize), kNotCreated}},
        Obstacle{"TheSizeIsAnother",
                 [](BufferDriver& driver) {
                     driver.afterMake = [](const std::string& name) {
                         sandbox::writeFile(BufferDriver::attribute(name, kSize), "8191\n");
                     };
                 },
                 {kNotCreated}}),
    [](const auto& row) { return row.param.name; });

TEST_F(Dma, ABufferThatCannotBeMappedIsMapFailed)
{
    driver_.afterMake = [](const std::string& name) {
        fs::remove(BufferDriver::node(name));
        ASSERT_EQ(0, mkfifo(BufferDriver::node(name).c_str(), 0600));
    };
    const RecordIsGivenUp scope;
    char* const buffer = alloc();
    EXPECT_EQ(MAP_FAILED, buffer);
    EXPECT_EQ(kPhysical, physical_);
    qm_freePhysicalMemory(buffer);
    EXPECT_THAT(log_.linesFrom("info"), ElementsAre("info QM: Could not free buffer 0xffffffffffffffff."));
}

TEST_F(Dma, OnlyABuffersOwnAddressFreesIt)
{
    char* const buffer = alloc();
    qm_freePhysicalMemory(nullptr);
    EXPECT_THAT(log_.linesFrom("info"), IsEmpty());
    for (char* other : {buffer + 16, buffer}) {
        qm_freePhysicalMemory(other);
        if (other == buffer) qm_freePhysicalMemory(other);
        EXPECT_THAT(log_.linesFrom("info"), ElementsAre("info QM: No buffer matching address " +
                                                        address(other) + " was found to free"));
        log_.clear();
    }
}

TEST_F(Dma, ABufferThatCannotBeFreedIsForgotten)
{
    const RecordIsGivenUp scope;
    char* const buffer = alloc();
    BufferDriver::removeManager();
    qm_freePhysicalMemory(buffer);
    qm_freePhysicalMemory(buffer);
    EXPECT_THAT(log_.linesFrom("info"), ElementsAre("info QM: Could not free buffer " + address(buffer) + ".",
                                                    StartsWith("info QM: No buffer matching address ")));
}

TEST_F(Dma, AHandleThatCannotBeFreedStaysTheCallers)
{
    qm_udmabuf_Handle* const handle = qm_udmabuf_allocBuffer(8192);
    ASSERT_NE(nullptr, handle);
    handle->length = 0;
    EXPECT_EQ(-1, qm_udmabuf_freeBuffer(handle)) << "no range to unmap";
    EXPECT_EQ(1U, mappedBuffers());
    handle->length = 8192;
    BufferDriver::removeManager();
    EXPECT_EQ(-1, qm_udmabuf_freeBuffer(handle));
    EXPECT_EQ(0U, mappedBuffers());
    EXPECT_EQ(nullptr, qm_udmabuf_allocBuffer(8192));
    EXPECT_THAT(log_.linesFrom("info"),
                ElementsAre("error QM: Failed to open u-dma-buf-mgr: No such file or directory"));
    BufferDriver::restoreManager();
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(handle));
    EXPECT_THAT(driver_.commands, ElementsAre("create qm-udma-buf0 8192\n", "delete qm-udma-buf0\n"));
}

TEST_F(Dma, OtherKindsOfAllocationAreRefusedByName)
{
    EXPECT_EQ(nullptr, qm_allocPhysicalMemory_v2_cached(8192, &physical_));
    EXPECT_EQ(0xBADU, physical_);
    EXPECT_EQ(nullptr, qm_allocPhysicalMemory_cached(8192));
    EXPECT_EQ(nullptr, qm_allocPhysicalMemory_uncached(8192));
    EXPECT_THAT(log_.lines(),
                ElementsAre("error QM: qm_allocPhysicalMemory_v2_cached is not defined in libqm on x86. Use "
                            "qm_allocPhysicalMemory_v2() instead.",
                            "info QM: qm_allocPhysicalMemory_cached is not, and will not, be defined in "
                            "libqm for Linux. Use qm_allocPhysicalMemory_v2() instead.",
                            "info QM: qm_allocPhysicalMemory_uncached is not, and will not, be defined in "
                            "libqm for Linux. Use qm_allocPhysicalMemory_v2() instead."));
    EXPECT_THAT(driver_.commands, IsEmpty());
}

}  // namespace

}  // namespace qm::test
