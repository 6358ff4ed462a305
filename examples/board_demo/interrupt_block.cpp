#include "interrupt_block.hpp"

#include <cerrno>
#include <poll.h>
#include <time.h>  // NOLINT(modernize-deprecated-headers): clock_gettime

namespace demo {

namespace {

constexpr int kLastInterruptMs = 1000;
constexpr double kRetrySeconds = 0.01;

int64_t nowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000 + now.tv_nsec;
}

}  // namespace

void InterruptBlock::start(bool drivesBaseRate, int priority)
{
    board_ = openBoard();
    if (board_ == nullptr) return;
    qm_PCIDevice pci = board_->pci;
    if (qm_uio_createInterruptContext(&context_, &pci) != 0) return failWith(pQmErrorStr);
    context_->isModelTrigger = drivesBaseRate;
    context_->priority = priority;
    if (qm_uio_interruptAttach(context_) != 0 || qm_uio_setIrqProps(context_) != 0) {
        failWith(pQmErrorStr);
        qm_printf(
            qm_error,
            "Hint: `lsmod | grep uio_quillmark` shows whether the driver is loaded; --without-board runs "
            "the model without interrupts.\n");
    }
}

void InterruptBlock::terminate()
{
    qm_uio_interruptDetach(context_);
    context_ = nullptr;
}

void InterruptBlock::raise()
{
    if (pendingSince_ != 0) return;
    pendingSince_ = nowNs();
    ++raised_;
    board_->write(Register::interruptRaise, kRaised);
}

bool InterruptBlock::wait()
{
    return enable() && acknowledge();
}

bool InterruptBlock::enable()
{
    if (qm_uio_enableInterrupt(context_) == 0) return true;
    failWith(pQmErrorStr);
    qm_wait_s(kRetrySeconds);  // until the failure ends the run
    return false;
}

bool InterruptBlock::acknowledge()
{
    const int result = qm_uio_interruptWait(context_);
    if (result == -EINTR) return false;  // the run ends
    if (result != 0) {
        failWith(pQmErrorStr);
        qm_wait_s(kRetrySeconds);
        return false;
    }
    const uint32_t causes = board_->read(Register::interruptStatus);
    board_->write(Register::interruptAcknowledge, causes);
    if ((causes & kDmaDone) != 0) dma_.transferred();
    arrived_ = (causes & kRaised) != 0;
    return arrived_;
}

void InterruptBlock::receive()
{
    latency_.record(nowNs() - pendingSince_);
    ++received_;
    arrived_ = false;
    pendingSince_ = 0;
}

void InterruptBlock::collectLast()
{
    if (context_ == nullptr) return;
    pollfd uio = {context_->uiofd, POLLIN, 0};
    for (int i = 0; i < 2 && pendingSince_ != 0 && !arrived_; ++i)  // that of a DMA transfer may come first
        if (enable() && poll(&uio, 1, kLastInterruptMs) > 0) (void)acknowledge();
    if (arrived_) receive();
}

void InterruptBlock::failWith(const char* library)
{
    qmError_extractMsg(error(), library);
    fail();
}

}  // namespace demo
