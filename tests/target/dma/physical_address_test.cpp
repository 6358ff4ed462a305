#include "sandbox.hpp"
#include <qm.h>

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>

namespace qm::test {

namespace {

constexpr const char* kPageMap = "/tmp/quillmark/pagemap";

/** A page map of the test's own in place of the kernel's. */
class PhysicalAddress : public testing::Test
{
protected:
    PhysicalAddress()
    {
        sandbox::freshDirectory("/tmp/quillmark");
        sandbox::writeFile(kPageMap, "");
        const std::string pageMap = "/proc/" + std::to_string(getpid()) + "/pagemap";
        EXPECT_EQ(0, mount(kPageMap, pageMap.c_str(), nullptr, MS_BIND, nullptr));
    }

    static void setPage(uintptr_t page, uint64_t entry)
    {
        std::fstream file(kPageMap, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(page * sizeof entry));
        file.write(reinterpret_cast<const char*>(&entry), sizeof entry);
    }

    static uintptr_t translate(uintptr_t address)
    {
        return qm_getPhysicalBufferAddr(reinterpret_cast<void*>(address));
    }
};

TEST_F(PhysicalAddress, IsThePagesFrameAndTheOffsetInThePage)
{
    for (const auto& [entry, expected] :
         {std::pair<uint64_t, uintptr_t>{0x8180'0000'0001'2345, 0x12345678},  // present, with flags
          {0x0000'0000'0001'2345, 0x12345678},                                // not present
          {0x8000'0000'0000'0000, 0x678},                                     // frame hidden
          {0x807F'FFFF'FFFF'FFFF, 0xFFFF'FFFF'FFFF'F678}}) {
        setPage(0x7F12'3456'7, entry);
        EXPECT_EQ(expected, translate(0x7F12'3456'7678)) << std::hex << entry;
    }
}

TEST_F(PhysicalAddress, IsZeroBehindTheEndOfThePageMap)
{
    setPage(9, ~uint64_t{0});
    ASSERT_NE(0U, translate(0x9008));
    EXPECT_EQ(0U, translate(0xA008));
    ASSERT_EQ(0, truncate(kPageMap, 79));
    EXPECT_EQ(0U, translate(0x9008));
}

}  // namespace

}  // namespace qm::test
