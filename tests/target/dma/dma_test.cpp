#include "fake_kernel.hpp"
#include "world.hpp"

// Present in builds with the address sanitizer: what is allocated in between is not looked for.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace {

using namespace qm::test;

constexpr uintptr_t kPhysical = 0x123456000;
const std::string kManager = "/dev/u-dma-buf-mgr";
const std::string kNode = "/dev/qm-udma-buf0";
const std::string kAttributes = "/sys/class/u-dma-buf/qm-udma-buf0/";

/** The kernel's manager of buffers, one command a write, in an empty /dev and /sys; buffers are files. */
struct Dma : TargetTest
{
    Dma()
    {
        sandbox::freshDirectory("/dev");
        sandbox::freshDirectory("/sys");
        sandbox::writeFile(kManager, "");
        kernel.answers[kManager] = [this] { return obey(std::get<2>(kernel.writes.back())); };
    }
    void TearDown() override
    {
        TargetTest::TearDown();
        std::ifstream maps("/proc/self/maps");
        for (std::string line; std::getline(maps, line);)
            EXPECT_THAT(line, Not(HasSubstr("/dev/qm-udma-buf")));
    }
    ssize_t obey(const std::string& command)
    {
        commands_.push_back(command);
        const ssize_t result = obeyDmaManager(commands_.back());
        if (result > 0 && commands_.back().starts_with("create")) afterCreate_();
        return result;
    }

    char* alloc(size_t size = 8192)
    {
        return static_cast<char*>(qm_allocPhysicalMemory_v2(size, &physical_));
    }

    Lines commands_;                             // as they were written, one a write
    std::function<void()> afterCreate_ = [] {};  // may spoil the buffer
    uintptr_t physical_ = 0xBAD;
};

TEST_F(Dma, TheSizeIsWhatIsAskedForButNeverASinglePage)
{
    for (const auto& [asked, made, text] : {std::tuple<size_t, size_t, std::string>{0, 8192, "0x0"},
                                            {4096, 8192, "0x1000"},
                                            {4097, 4097, "0x1001"},
                                            {0x100000010, 0x100000010, "0x10"}}) {
        char* const buffer = alloc(asked);
        EXPECT_EQ(kPhysical, physical_);
        EXPECT_EQ("2\n", sandbox::readFile(kAttributes + "sync_mode"));
        qm_freePhysicalMemory(buffer);
        EXPECT_THAT(commands_, ElementsAre("create qm-udma-buf0 " + std::to_string(made) + "\n",
                                           "delete qm-udma-buf0\n"));
        Lines log = {"debug QM: Allocating " + text + " bytes of physical memory",
                     "debug QM:  --> Single pages don't go into CMA. Allocating 0x2000",
                     "debug QM: Mapping /dev/qm-udma-buf0", "debug QM: Physical address: 0x23456000"};
        if (made == asked) log.erase(log.begin() + 1);
        EXPECT_EQ(log, log_.lines());
        commands_.clear();
        log_.clear();
    }
}

TEST_F(Dma, LeftoversAreDeletedWhileTheProcessHasNoBuffer)
{
    for (const char* name : {"qm-udma-buf-of-mine", "udmabuf0"})
        sandbox::writeFile("/dev/" + std::string(name), "");
    char* const first = alloc();
    char* const second = alloc();
    EXPECT_EQ(fs::perms{0666}, fs::status(kNode).permissions());
    qm_freePhysicalMemory(first);
    qm_udmabuf_Handle* const handle = qm_udmabuf_allocBuffer(100);
    qm_freePhysicalMemory(alloc());
    qm_freePhysicalMemory(second);
    EXPECT_THAT(commands_, ElementsAre("delete qm-udma-buf-of-mine\n", "create qm-udma-buf0 8192\n",
                                       "create qm-udma-buf1 8192\n", "delete qm-udma-buf0\n",
                                       "create qm-udma-buf0 100\n", "create qm-udma-buf2 8192\n",
                                       "delete qm-udma-buf2\n", "delete qm-udma-buf1\n"));
    commands_.clear();
    qm_freePhysicalMemory(alloc());
    EXPECT_EQ("delete qm-udma-buf0\n", commands_.front()) << "made without the map, it goes too";
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(handle));
}

TEST_F(Dma, AnUnusableBufferGivesNullAndTheReason)
{
    for (const std::string& missing :
         {kAttributes + "sync_mode", kNode, kAttributes + "phys_addr", kAttributes + "size"}) {
        SCOPED_TRACE(missing);
        afterCreate_ = [&] { fs::remove(missing); };
        EXPECT_EQ(nullptr, alloc());
        EXPECT_EQ(0U, physical_);
        Lines log = {"error QM: Failed to set u-dma-buf permissions: No such file or directory",
                     "error QM: Failed to open " + missing + ": No such file or directory",
                     "info QM: Could not create buffer."};
        if (missing != kNode) log.erase(log.begin());
        EXPECT_EQ(log, log_.notes());
        log_.clear();
    }
    afterCreate_ = [&] { sandbox::writeFile(kAttributes + "size", "8191\n"); };
    EXPECT_EQ(nullptr, alloc());
    EXPECT_THAT(log_.notes(), ElementsAre("info QM: Could not create buffer."));
    EXPECT_TRUE(fs::exists(kNode)) << "it is left to the next clearing";
}

TEST_F(Dma, ABufferThatCannotBeFreedIsForgottenAndAHandleStaysTheCallers)
{
    if (__lsan_disable != nullptr) __lsan_disable();
    char* const buffer = alloc();  // which the library gives up on purpose
    if (__lsan_enable != nullptr) __lsan_enable();
    qm_udmabuf_Handle* const handle = qm_udmabuf_allocBuffer(8192);
    ASSERT_NE(nullptr, handle);
    handle->length = 0;
    EXPECT_EQ(-1, qm_udmabuf_freeBuffer(handle)) << "no range to unmap";
    handle->length = 8192;
    fs::remove(kManager);
    EXPECT_EQ(-1, qm_udmabuf_freeBuffer(handle));
    sandbox::writeFile(kManager, "");
    EXPECT_EQ(0, qm_udmabuf_freeBuffer(handle));
    fs::remove(kManager);
    for (char* const address : {static_cast<char*>(nullptr), buffer + 16, buffer, buffer})
        qm_freePhysicalMemory(address);
    EXPECT_EQ(nullptr, qm_udmabuf_allocBuffer(8192));
    EXPECT_EQ(nullptr, alloc());

    const auto text = [](char* address) { return testing::PrintToString(static_cast<void*>(address)); };
    const auto notFound = [&](char* address) {
        return "info QM: No buffer matching address " + text(address) + " was found to free";
    };
    EXPECT_THAT(
        log_.notes(),
        ElementsAre(notFound(buffer + 16), "info QM: Could not free buffer " + text(buffer) + ".",
                    notFound(buffer), "error QM: Failed to open u-dma-buf-mgr: No such file or directory",
                    "warning QM: Failed to open u-dma-buf-mgr: No such file or directory",
                    "info QM: Failed to clear old u-dma-buffers. Do you have the required kernel "
                    "modules inserted?"));
}

TEST_F(Dma, OtherKindsOfAllocationAreRefusedByName)
{
    EXPECT_EQ(nullptr, qm_allocPhysicalMemory_v2_cached(8192, &physical_));
    EXPECT_EQ(0xBADU, physical_);
    EXPECT_EQ(nullptr, qm_allocPhysicalMemory_cached(8192));
    EXPECT_EQ(nullptr, qm_allocPhysicalMemory_uncached(8192));
    const std::string cure = " Use qm_allocPhysicalMemory_v2() instead.";
    const std::string never = " is not, and will not, be defined in libqm for Linux." + cure;
    EXPECT_THAT(
        log_.lines(),
        ElementsAre("error QM: qm_allocPhysicalMemory_v2_cached is not defined in libqm on x86." + cure,
                    "info QM: qm_allocPhysicalMemory_cached" + never,
                    "info QM: qm_allocPhysicalMemory_uncached" + never));
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
         {std::pair<uint64_t, uintptr_t>{0x0180'0000'0001'2345, 0x12345678},  // with flags, not present
          {0x8000'0000'0000'0000, 0x678}}) {                                  // its frame is hidden
        file.seekp(std::streamoff{0x7F12'3456'7} * 8);
        file.write(reinterpret_cast<const char*>(&entry), sizeof entry).flush();
        EXPECT_EQ(expected, translate()) << std::hex << entry;
    }
    fs::resize_file(pageMap, std::uintmax_t{0x7F12'3456'7} * 8 + 7);
    EXPECT_EQ(0U, translate()) << "half an entry";
}

}  // namespace
