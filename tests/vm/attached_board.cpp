#include "attached_board.hpp"

#include "machine.hpp"

#include <gtest/gtest.h>

#include <poll.h>

namespace qm::test {

qm_PCIDevice exampleIn(uint32_t slot)
{
    qm_PCIDevice board{};
    EXPECT_EQ(0, qm_detectPciDeviceAtSlot(&board, "example", 0x1234, 0x11E8, QM_PCI_ANY_ID, QM_PCI_ANY_ID, 0,
                                          static_cast<int>(slot)))
        << pQmErrorStr;
    return board;
}

AttachedBoard::AttachedBoard(uint32_t slot) : address_(address(0, slot))
{
    qm_PCIDevice board = exampleIn(slot);
    EXPECT_EQ(0, qm_uio_createInterruptContext(&context_, &board)) << pQmErrorStr;
    EXPECT_EQ(0, qm_uio_interruptAttach(context_)) << pQmErrorStr;
    registers_ = static_cast<volatile uint32_t*>(qm_mapMemory(&context_->pciInfo, 0));
}

AttachedBoard::~AttachedBoard()
{
    word(kStatus) = 0;
    acknowledge();
    detach();
}

void AttachedBoard::compute(uint32_t factorialOf) const
{
    word(0x08) = factorialOf;
    while ((word(kStatus) & 1U) != 0) {
    }
}

void AttachedBoard::startTransfer(uint64_t busAddress, Direction direction) const
{
    constexpr uint32_t kBuffer = 0x40000, kRun = 1, kInterruptAtEnd = 4;
    const auto memory = static_cast<uint32_t>(busAddress);
    const bool toBoard = direction == Direction::toBoard;
    word(0x80) = toBoard ? memory : kBuffer;
    word(0x88) = toBoard ? kBuffer : memory;
    word(0x90) = kTransfer;
    word(0x98) = kRun | kInterruptAtEnd | static_cast<uint32_t>(direction);
}

int AttachedBoard::wait() const
{
    const int result = qm_uio_interruptWait(context_);
    return result == 0 ? context_->intCount : result;
}

bool AttachedBoard::isInterrupted() const
{
    constexpr int kNotLong = 100;  // ms
    pollfd uio{context_->uiofd, POLLIN, 0};
    return ::poll(&uio, 1, kNotLong) == 1;
}

int AttachedBoard::receiveOne() const
{
    EXPECT_EQ(0, qm_uio_enableInterrupt(context_)) << pQmErrorStr;
    raise(1);
    const int count = wait();
    acknowledge();
    return count;
}

void AttachedBoard::detach()
{
    qm_uio_interruptDetach(context_);
    context_ = nullptr;
}

bool AttachedBoard::interruptDisabled() const
{
    constexpr unsigned kDisable = 4;
    return (static_cast<unsigned>(contentOf(folderOf(address_) / "config").at(5)) & kDisable) != 0;
}

std::string AttachedBoard::irq() const
{
    return linesOf("cat " + (folderOf(address_) / "irq").string()).at(0);
}

pid_t AttachedBoard::interruptThread() const
{
    // In /proc/123/comm: "irq/23-qm00030"
    const std::string name = "irq/" + irq() + "-qm00" + address_.substr(3, 2) + "0";
    return std::stoi(linesOf("grep -slx '" + name + "' /proc/[0-9]*/comm || true").at(0).substr(6));
}

std::string AttachedBoard::affinity() const
{
    return contentOf("/proc/irq/" + irq() + "/smp_affinity_list");
}

}  // namespace qm::test
