// DMA buffers through the manager's text commands, and the board's transfers into them.

#include "edu.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <numeric>
#include <set>
#include <span>

namespace {

using qm::test::contentOf;
using qm::test::Edu;
using qm::test::File;
using qm::test::Mapping;
using qm::test::writeOnce;
using testing::Each;

constexpr char kManager[] = "/dev/u-dma-buf-mgr";
constexpr std::size_t kSize = 8192;

int createBuffer(const std::string& name, std::size_t size = kSize)
{
    return writeOnce(kManager, fmt::format("create {} {}\n", name, size));
}

int deleteBuffer(const std::string& name)
{
    return writeOnce(kManager, fmt::format("delete {}\n", name));
}

std::string attribute(const std::string& name, const std::string& attribute)
{
    return contentOf("/sys/class/u-dma-buf/" + name + "/" + attribute);
}

uint64_t busAddress(const std::string& name)
{
    return std::stoull(attribute(name, "phys_addr"), nullptr, 16);
}

bool exists(const std::string& name)
{
    return std::filesystem::exists("/dev/" + name) && std::filesystem::exists("/sys/class/u-dma-buf/" + name);
}

unsigned modeOf(const std::string& node)
{
    struct stat status
    {};
    EXPECT_EQ(0, ::stat(node.c_str(), &status)) << node;
    return status.st_mode & 07777U;
}

/// Buffers "a" and "b", and none that an earlier test left.
class DmaBuffer : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(0, createBuffer("a"));
        ASSERT_EQ(0, createBuffer("b"));
    }
    void TearDown() override
    {
        for (const auto& left : std::filesystem::directory_iterator("/sys/class/u-dma-buf"))
            EXPECT_EQ(0, deleteBuffer(left.path().filename().string()));
    }
};

TEST_F(DmaBuffer, ShowsWhatWasAskedForInItsFiles)
{
    ASSERT_EQ(0, createBuffer("odd", 4097));
    EXPECT_EQ("4097\n", attribute("odd", "size"));
    EXPECT_THAT(attribute("odd", "phys_addr"), testing::MatchesRegex("0x[0-9a-f]{16}\n"));
    EXPECT_EQ("1\n", attribute("odd", "sync_mode"));
    EXPECT_EQ(0, writeOnce("/sys/class/u-dma-buf/odd/sync_mode", "2"));
    EXPECT_EQ("2\n", attribute("odd", "sync_mode"));
    EXPECT_EQ(0600U, modeOf("/dev/odd"));
    EXPECT_EQ(0666U, modeOf(kManager));
}

TEST_F(DmaBuffer, IsGoneWhenDeletedAndItsNameFree)
{
    EXPECT_TRUE(exists("a"));
    EXPECT_EQ(0, deleteBuffer("a"));
    EXPECT_FALSE(exists("a"));
    EXPECT_EQ(0, createBuffer("a"));
}

TEST_F(DmaBuffer, IsNotMadeByACommandThatMakesNoSense)
{
    const std::array<const char*, 12> commands{
        "create a 8192\n", "create c 0\n",       "create c\n", "create c 8192 8192\n",
        "create c -1\n",   "create ../c 8192\n", "delete c\n", "delete a 8192\n",
        "destroy a\n",     "create  c 8192\n",   "\n",         "delete\n"};
    for (const char* command : commands)
        EXPECT_EQ(EINVAL, writeOnce(kManager, command)) << command;
    EXPECT_EQ(EINVAL, createBuffer(std::string(200, 'c')));
    EXPECT_TRUE(exists("a"));
    EXPECT_FALSE(exists("c"));
}

TEST_F(DmaBuffer, AppearsWithTheNewlineAndNotBefore)
{
    const File manager(kManager, O_WRONLY);
    EXPECT_EQ(0, manager.write("create c"));
    EXPECT_EQ(0, manager.write(" 8192"));
    EXPECT_FALSE(exists("c"));
    EXPECT_EQ(0, manager.write("\n"));
    EXPECT_TRUE(exists("c"));
}

TEST_F(DmaBuffer, HasAtMostWhatTheKernelCanGiveInOnePiece)
{
    EXPECT_EQ(0, createBuffer("large", 4U << 20));
    EXPECT_EQ(ENODEV, createBuffer("larger", (4U << 20) + 1));
    EXPECT_EQ(ENODEV, createBuffer("largest", ~std::size_t{0}));
    EXPECT_FALSE(exists("larger"));
}

TEST_F(DmaBuffer, IsZeroedAndItsPagesLieWhereItSays)
{
    const Mapping memory("/dev/a", kSize);
    EXPECT_THAT(std::span(memory.bytes(), kSize), Each(0));
    const File pagemap("/proc/self/pagemap", O_RDONLY);
    for (std::size_t offset = 0; offset < kSize; offset += 4096) {
        uint64_t entry = 0;
        const auto page = reinterpret_cast<uintptr_t>(memory.bytes() + offset) / 4096;
        ASSERT_EQ(8, ::pread(pagemap.fd(), &entry, sizeof entry, static_cast<off_t>(page * 8)));
        EXPECT_EQ(busAddress("a") + offset, (entry & ((uint64_t{1} << 55U) - 1)) * 4096);
    }
}

TEST_F(DmaBuffer, Exists256TimesInMemoryOfItsOwn)
{
    std::set<uint64_t> addresses;
    for (int n = 0; n < 256; ++n) {
        const std::string name = fmt::format("qm-udma-buf{}", n);
        ASSERT_EQ(0, createBuffer(name)) << name;
        addresses.insert(busAddress(name));
    }
    EXPECT_EQ(256U, addresses.size());
    const auto tooNear = [](uint64_t left, uint64_t right) { return right - left < kSize; };
    EXPECT_EQ(addresses.end(), std::adjacent_find(addresses.begin(), addresses.end(), tooNear));
}

TEST_F(DmaBuffer, DeletedUnderAMappingKeepsItsMemoryFromOthers)
{
    const Mapping deleted("/dev/a", kSize);
    const uint64_t address = busAddress("a");
    ASSERT_EQ(0, deleteBuffer("a"));
    ASSERT_EQ(0, createBuffer("a"));
    EXPECT_NE(address, busAddress("a"));
    std::fill_n(deleted.bytes(), kSize, uint8_t{0xA5});
    const Mapping fresh("/dev/a", kSize);
    EXPECT_THAT(std::span(fresh.bytes(), kSize), Each(0));
}

TEST_F(DmaBuffer, CarriesABoardsTransferThereAndBack)
{
    const int known = qm::test::teachIds();
    ASSERT_TRUE(known == 0 || known == EEXIST);
    Edu board(3);
    const Mapping from("/dev/a", kSize), to("/dev/b", kSize);
    std::iota(from.bytes(), from.bytes() + kSize, uint8_t{7});
    from.bytes()[Edu::kTransfer - 1] = 0xEE;

    board.startTransfer(busAddress("a"), Edu::Direction::toBoard);
    ASSERT_TRUE(board.nextCount());
    board.acknowledge();
    board.enableInterrupt();
    board.startTransfer(busAddress("b"), Edu::Direction::toMemory);
    ASSERT_TRUE(board.nextCount());

    EXPECT_TRUE(std::equal(to.bytes(), to.bytes() + Edu::kTransfer, from.bytes()));
    EXPECT_THAT(std::span(to.bytes() + Edu::kTransfer, kSize - Edu::kTransfer), Each(0));
}

}  // namespace
