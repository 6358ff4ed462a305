#include "attached_board.hpp"

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

AttachedBoard::AttachedBoard(uint32_t slot)
{
    qm_PCIDevice board = exampleIn(slot);
    EXPECT_LE(0, qm_uio_bindDeviceToUio(&board));
    edu_ = std::make_unique<Edu>(slot);
    EXPECT_EQ(0, qm_uio_createInterruptContext(&context_, &board)) << pQmErrorStr;
    EXPECT_EQ(0, qm_uio_interruptAttach(context_)) << pQmErrorStr;
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
    edu_->raise(1);
    const int count = wait();
    edu_->acknowledge();
    return count;
}

void AttachedBoard::detach()
{
    qm_uio_interruptDetach(context_);
    context_ = nullptr;
}

pid_t AttachedBoard::interruptThread() const
{
    return threadNamed("irq/" + edu_->irq() + "-" + edu_->uioName());
}

std::string AttachedBoard::affinity() const
{
    return contentOf("/proc/irq/" + edu_->irq() + "/smp_affinity_list");
}

}  // namespace qm::test
