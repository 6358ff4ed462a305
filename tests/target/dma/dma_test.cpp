#include "buffer_driver.hpp"
#include "log_capture.hpp"
#include "process.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>

// Present in builds with the address sanitizer: what is allocated in between is not looked for.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace qm::test {

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

constexpr uintptr_t kPhysical = 0x123456000;

size_t mappedBuffers()
{
    std::ifstream maps("/proc/self/maps");
    size_t count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find("/dev/qm-udma-buf") == std::string::npos ? 0 : 1;
    return count;
}

class Dma : public testing::Test
{
public:
    void TearDown() override
    {
        EXPECT_EQ(descriptors_, openDescriptors());
        EXPECT_EQ(0U, mappedBuffers());
    }

protected:
    char* alloc(size_t size = 8192)
    {
        return static_cast<char*>(qm_allocPhysicalMemory_v2(size, &physical_));
    }

    /** A record that the library gives up on purpose is not a leak. */
    char* allocForEver()
    {
        if (__lsan_disable != nullptr) __lsan_disable();
        char* const buffer = alloc();
        if (__lsan_enable != nullptr) __lsan_enable();
        return buffer;
    }

    BufferDriver driver_;
    LogCapture log_;
    uintptr_t physical_ = 0xBAD;

private:
    Lines descriptors_ = openDescriptors();
};

TEST_F(Dma, TheSizeIsWhatIsAskedForButNeverASinglePage)
{
    for (const auto& [asked, made, text] : {std::tuple<size_t, size_t, std::string>{0, 8192, "0x0"},
                                            {4096, 8192, "0x1000"},
                                            {4097, 4097, "0x1001"},
                                            {0x100000010, 0x100000010, "0x10"}}) {
        char* const buffer = alloc(asked);
        ASSERT_NE(nullptr, buffer) << text;
        buffer[made - 1] = 'l';
        EXPECT_THAT(driver_.commands, ElementsAre("create qm-udma-buf0 " + std::to_string(made) + "\n"));
        Lines log = {"debug QM: Allocating " + text + " bytes of physical memory",
                     "debug QM:  --> Single pages don't go into CMA. Allocating 0x2000",
                     "debug QM: Mapping /dev/qm-udma-buf0", "debug QM: Physical address: 0x23456000"};
        if (made == asked) log.erase(log.begin() + 1);
        EXPECT_EQ(log, log_.lines());
        qm_freePhysicalMemory(buffer);
        driver_.commands.clear();
        log_.clear();
    }
}

TEST_F(Dma, ABufferIsTheDriversMemoryUntilItIsFreed)
{
    char* const buffer = alloc();
    ASSERT_NE(nullptr, buffer);
    EXPECT_EQ(kPhysical, physical_);
    std::string("to the board").copy(buffer + 4096, 12);
    EXPECT_EQ("to the board", sandbox::readFile("/dev/qm-udma-buf0").substr(4096, 12));
    EXPECT_EQ(fs::perms{0666}, fs::status("/dev/qm-udma-buf0").permissions());
    EXPECT_EQ("2\n", sandbox::readFile("/sys/class/u-dma-buf/qm-udma-buf0/sync_mode"));

    log_.clear();
    qm_freePhysicalMemory(nullptr);
    EXPECT_THAT(log_.lines(), IsEmpty());
    qm_freePhysicalMemory(buffer + 16);
    EXPECT_EQ(1U, driver_.commands.size()) << "an address inside it is not the buffer";
    qm_freePhysicalMemory(buffer);
    EXPECT_EQ("delete qm-udma-buf0\n", driver_.commands.back());
    EXPECT_THAT(log_.lines(),
                ElementsAre("info QM: No buffer matching address " +
                            testing::PrintToString(static_cast<void*>(buffer + 16)) + " was found to free"));
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
    qm_freePhysicalMemory(first);
    driver_.commands.clear();
    char* const third = alloc();
    EXPECT_THAT(driver_.commands, ElementsAre("create qm-udma-buf0 8192\n")) << "one is still in use";

    qm_udmabuf_Handle* const handle = qm_udmabuf_allocBuffer(100);
    ASSERT_NE(nullptr, handle);
    qm_freePhysicalMemory(third);
    qm_freePhysicalMemory(second);
    driver_.commands.clear();
    qm_freePhysicalMemory(alloc());
    EXPECT_EQ("delete qm-udma-buf2\n", driver_.commands.front()) << "made without the map, it goes too";
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(handle));
}

TEST_F(Dma, TheLowestOfTwoHundredAndFiftySixNumbersIsTaken)
{
    for (int number = 0; number < 255; ++number)
        if (number != 1) sandbox::writeFile("/dev/qm-udma-buf" + std::to_string(number), "");
    qm_udmabuf_Handle* const one = qm_udmabuf_allocBuffer(100);
    qm_udmabuf_Handle* const last = qm_udmabuf_allocBuffer(100);
    ASSERT_TRUE(one != nullptr && last != nullptr);
    EXPECT_STREQ("qm-udma-buf1", one->deviceName);
    EXPECT_STREQ("qm-udma-buf255", last->deviceName);
    EXPECT_EQ(nullptr, qm_udmabuf_allocBuffer(100));
    EXPECT_EQ(2U, driver_.commands.size());
    EXPECT_THAT(log_.notes(),
                ElementsAre("error QM: Maximum of 256 buffers are supported by the u-dma-buf-mgr."));
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(one));
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(last));
}

TEST_F(Dma, AnUnusableBufferGivesNullAndTheReason)
{
    const std::string attributes = "/sys/class/u-dma-buf/qm-udma-buf0/";
    const std::string node = "/dev/qm-udma-buf0";
    for (const std::string& missing :
         {attributes + "sync_mode", node, attributes + "phys_addr", attributes + "size"}) {
        SCOPED_TRACE(missing);
        driver_.afterMake = [&] { fs::remove(missing); };
        EXPECT_EQ(nullptr, alloc());
        EXPECT_EQ(0U, physical_);
        EXPECT_EQ(0U, mappedBuffers());
        Lines log = {"error QM: Failed to set u-dma-buf permissions: No such file or directory",
                     "error QM: Failed to open " + missing + ": No such file or directory",
                     "info QM: Could not create buffer."};
        if (missing != node) log.erase(log.begin());
        EXPECT_EQ(log, log_.notes());
        log_.clear();
    }
    driver_.afterMake = [&] { sandbox::writeFile(attributes + "size", "8191\n"); };
    EXPECT_EQ(nullptr, alloc());
    EXPECT_THAT(log_.notes(), ElementsAre("info QM: Could not create buffer."));
    EXPECT_TRUE(fs::exists(node)) << "it is left to the next clearing";
}

TEST_F(Dma, WithoutTheManagerThereAreNoBuffers)
{
    fs::remove(kManager);
    EXPECT_EQ(nullptr, alloc());
    EXPECT_EQ(nullptr, qm_udmabuf_allocBuffer(8192));
    EXPECT_THAT(log_.notes(),
                ElementsAre("warning QM: Failed to open u-dma-buf-mgr: No such file or directory",
                            "info QM: Failed to clear old u-dma-buffers. Do you have the required kernel "
                            "modules inserted?",
                            "error QM: Failed to open u-dma-buf-mgr: No such file or directory"));
}

TEST_F(Dma, ABufferThatCannotBeMappedIsMapFailed)
{
    driver_.afterMake = [] {
        fs::remove("/dev/qm-udma-buf0");
        ASSERT_EQ(0, mkfifo("/dev/qm-udma-buf0", 0600));
    };
    char* const buffer = allocForEver();
    EXPECT_EQ(MAP_FAILED, buffer);
    EXPECT_EQ(kPhysical, physical_);
    qm_freePhysicalMemory(buffer);
    EXPECT_THAT(log_.notes(), ElementsAre("info QM: Could not free buffer 0xffffffffffffffff."));
}

TEST_F(Dma, ABufferThatCannotBeFreedIsForgotten)
{
    char* const buffer = allocForEver();
    const std::string address = testing::PrintToString(static_cast<void*>(buffer));
    fs::remove(kManager);
    qm_freePhysicalMemory(buffer);
    qm_freePhysicalMemory(buffer);
    EXPECT_THAT(log_.notes(),
                ElementsAre("info QM: Could not free buffer " + address + ".",
                            "info QM: No buffer matching address " + address + " was found to free"));
}

TEST_F(Dma, AHandleThatCannotBeFreedStaysTheCallers)
{
    qm_udmabuf_Handle* const handle = qm_udmabuf_allocBuffer(8192);
    ASSERT_NE(nullptr, handle);
    handle->length = 0;
    EXPECT_EQ(-1, qm_udmabuf_freeBuffer(handle)) << "no range to unmap";
    EXPECT_EQ(1U, driver_.commands.size());
    handle->length = 8192;
    fs::remove(kManager);
    EXPECT_EQ(-1, qm_udmabuf_freeBuffer(handle));
    sandbox::writeFile(kManager, "");
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(handle));
    EXPECT_EQ("delete qm-udma-buf0\n", driver_.commands.back());
    EXPECT_THAT(log_.notes(), IsEmpty());
}

TEST_F(Dma, OtherKindsOfAllocationAreRefusedByName)
{
    EXPECT_EQ(nullptr, qm_allocPhysicalMemory_v2_cached(8192, &physical_));
    EXPECT_EQ(0xBADU, physical_);
    EXPECT_EQ(nullptr, qm_allocPhysicalMemory_cached(8192));
    EXPECT_EQ(nullptr, qm_allocPhysicalMemory_uncached(8192));
    const std::string cure = " Use qm_allocPhysicalMemory_v2() instead.";
    const std::string never = " is not, and will not, be defined in libqm for Linux.";
    EXPECT_THAT(
        log_.lines(),
        ElementsAre("error QM: qm_allocPhysicalMemory_v2_cached is not defined in libqm on x86." + cure,
                    "info QM: qm_allocPhysicalMemory_cached" + never + cure,
                    "info QM: qm_allocPhysicalMemory_uncached" + never + cure));
    EXPECT_THAT(driver_.commands, IsEmpty());
}

TEST(PhysicalAddress, IsThePagesFrameInThePageMapAndTheOffsetInThePage)
{
    const std::string pageMap = "/tmp/quillmark/pagemap";
    sandbox::freshDirectory("/tmp/quillmark");
    sandbox::writeFile(pageMap, "");
    const std::string kernels = "/proc/" + std::to_string(getpid()) + "/pagemap";
    ASSERT_EQ(0, mount(pageMap.c_str(), kernels.c_str(), nullptr, MS_BIND, nullptr));
    const auto translate = [] { return qm_getPhysicalBufferAddr(reinterpret_cast<void*>(0x7F12'3456'7678)); };

    EXPECT_EQ(0U, translate()) << "behind the end of the map";
    std::fstream file(pageMap, std::ios::in | std::ios::out | std::ios::binary);
    for (const auto& [entry, expected] :
         {std::pair<uint64_t, uintptr_t>{0x8180'0000'0001'2345, 0x12345678},  // present, with flags
          {0x0000'0000'0001'2345, 0x12345678},                                // not present
          {0x8000'0000'0000'0000, 0x678}}) {                                  // its frame is hidden
        file.seekp(std::streamoff{0x7F12'3456'7} * 8);
        file.write(reinterpret_cast<const char*>(&entry), sizeof entry).flush();
        EXPECT_EQ(expected, translate()) << std::hex << entry;
    }
    fs::resize_file(pageMap, std::uintmax_t{0x7F12'3456'7} * 8 + 7);
    EXPECT_EQ(0U, translate()) << "half an entry";
}

}  // namespace

}  // namespace qm::test
