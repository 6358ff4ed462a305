// The library's DMA buffers on a real kernel, with a board that moves data.

#include "attached_board.hpp"
#include "machine.hpp"

#include <set>
#include <span>

namespace {

using namespace qm::test;

constexpr std::size_t kTwoPages = 8192;

/// What the library allocated, as the board and the processor see it.
struct Buffer
{
    explicit Buffer(std::size_t size = kTwoPages)
        : bytes(static_cast<uint8_t*>(qm_allocPhysicalMemory_v2(size, &busAddress)))
    {
        EXPECT_NE(nullptr, bytes);
    }
    uintptr_t busAddress = 0;
    uint8_t* bytes;
};

/// Names of the kernel's buffers.
std::set<std::string> kernelBuffers()
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator("/sys/class/u-dma-buf"))
        names.insert(entry.path().filename());
    return names;
}

/// Asks in vain, and is given no address.
void expectRefusal(std::size_t size)
{
    uintptr_t address = 1;
    EXPECT_EQ(nullptr, qm_allocPhysicalMemory_v2(size, &address));
    EXPECT_EQ(0U, address);
}

/// Each test is a process, and its first allocation clears what the one before has left.
struct DmaBuffers : testing::Test
{
    void TearDown() override { EXPECT_EQ(0, qm_udmabuf_deleteAllBuffers()); }
};

TEST_F(DmaBuffers, CarryEveryByteToTheBoardAndBack)
{
    const AttachedBoard board;
    const Buffer from, to;
    std::iota(from.bytes, from.bytes + kTwoPages, uint8_t{7});
    from.bytes[AttachedBoard::kTransfer - 1] = 0xEE;

    const auto transfer = [&](uintptr_t address, AttachedBoard::Direction direction) {
        ASSERT_EQ(0, qm_uio_enableInterrupt(board.context()));
        board.startTransfer(address, direction);
        ASSERT_GT(board.wait(), 0);
        board.acknowledge();
    };
    transfer(from.busAddress, AttachedBoard::Direction::toBoard);
    transfer(to.busAddress, AttachedBoard::Direction::toMemory);

    EXPECT_TRUE(std::equal(to.bytes, to.bytes + AttachedBoard::kTransfer, from.bytes));
    EXPECT_THAT(std::span(to.bytes, kTwoPages).subspan(AttachedBoard::kTransfer), Each(0));
}

TEST_F(DmaBuffers, LieInOnePieceWhereThePageMapSays)
{
    const Buffer buffer(4097);
    ASSERT_NE(0U, buffer.busAddress);
    for (const std::size_t offset : {0U, 4096U}) {
        buffer.bytes[offset] = 1;  // a page has a place from the first touch on
        EXPECT_EQ(buffer.busAddress + offset, qm_getPhysicalBufferAddr(buffer.bytes + offset)) << offset;
    }
}

TEST_F(DmaBuffers, OfAKilledProcessGoWithTheNextAllocation)
{
    runAndKill([] {
        const Buffer first, second, third;
        return kernelBuffers().size() == 3;
    });
    ASSERT_THAT(kernelBuffers(), ElementsAre("qm-udma-buf0", "qm-udma-buf1", "qm-udma-buf2"));
    const Buffer next;
    EXPECT_THAT(kernelBuffers(), ElementsAre("qm-udma-buf0"));
}

TEST_F(DmaBuffers, Are256AtMostAndTheLowestFreeNumberIsNext)
{
    std::vector<Buffer> buffers(256);
    EXPECT_EQ(256U, kernelBuffers().size());
    const LogCapture log;
    expectRefusal(1);
    EXPECT_THAT(log.notes(),
                ElementsAre("error QM: Maximum of 256 buffers are supported by the u-dma-buf-mgr.",
                            "info QM: Could not create buffer."));

    qm_freePhysicalMemory(buffers[200].bytes);
    qm_freePhysicalMemory(buffers[17].bytes);
    EXPECT_FALSE(kernelBuffers().contains("qm-udma-buf17"));
    const Buffer next;
    EXPECT_TRUE(kernelBuffers().contains("qm-udma-buf17"));
    EXPECT_FALSE(kernelBuffers().contains("qm-udma-buf200"));
}

TEST_F(DmaBuffers, LargerThanTheKernelHasAreRefusedAndLeaveNothing)
{
    const Buffer before;
    expectRefusal(64U << 20);
    EXPECT_THAT(kernelBuffers(), ElementsAre("qm-udma-buf0"));
}

TEST_F(DmaBuffers, WithoutTheManagerAreRefusedUntilItIsBack)
{
    {
        const WithoutModule manager("qm_dma_buf");
        expectRefusal(1);
    }
    const Buffer next;
    EXPECT_NE(0U, next.busAddress);
}

}  // namespace
