// interrupt_bench FOLDER, on the board of the virtual target: the library's wait and enable beside the bare
// calls. First only the calls are timed, the interrupt having come before the wait begins; then the way from
// raising it to the end of the wait.

#include "interrupt_latency.hpp"
#include "table.hpp"
#include <qm.h>

#include <unistd.h>

#include <array>
#include <cstdio>
#include <poll.h>

namespace {

constexpr int kWarmUp = 50;
constexpr double kMost = 1.05;

double microseconds(Clock::duration time)
{
    return std::chrono::duration<double, std::micro>(time).count();
}

/// Microseconds in wait and enable of one interrupt.
template <typename Wait, typename Enable>
double timeOf(volatile uint32_t* registers, qm_InterruptContext& context, Wait wait, Enable enable)
{
    registers[kRaise] = 1;
    pollfd uio = {context.uiofd, POLLIN, 0};
    (void)poll(&uio, 1, -1);
    const auto beforeWait = Clock::now();
    wait();
    const auto afterWait = Clock::now();
    registers[kAcknowledge] = 1;
    const auto beforeEnable = Clock::now();
    enable();
    const auto afterEnable = Clock::now();
    return microseconds(afterWait - beforeWait + (afterEnable - beforeEnable));
}

int measureCalls(volatile uint32_t* registers, qm_InterruptContext& context)
{
    std::vector<double> ours;
    std::vector<double> bare;
    bool good = qm_uio_enableInterrupt(&context) == 0;
    const auto library = [&] {
        return timeOf(
            registers, context, [&] { good &= qm_uio_interruptWait(&context) == 0; },
            [&] { good &= qm_uio_enableInterrupt(&context) == 0; });
    };
    const auto calls = [&] {
        return timeOf(
            registers, context,
            [&] { good &= read(context.uiofd, &context.intCount, sizeof(int)) == sizeof(int); },
            [&] { good &= pwrite(context.configfd, &context.command_high, 1, 5) == 1; });
    };
    for (int i = 0; i < kWarmUp && good; ++i)
        (void)(library() + calls());
    for (int i = 0; i < kSamples && good; ++i) {  // neither is always the second
        if (i % 2 == 0) ours.push_back(library());
        bare.push_back(calls());
        if (i % 2 != 0) ours.push_back(library());
    }
    if (!good) {
        (void)std::fprintf(stderr, "qm_interrupt_bench: %s\n", pQmErrorStr);
        return 1;
    }
    return printRows(
        {ratioRow("interrupt wait plus enable, median", "bare `read` plus `pwrite` on the same board",
                  percentile(ours, 0.5), percentile(bare, 0.5), "us", kMost)});
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        (void)std::fputs("usage: qm_interrupt_bench FOLDER\n", stderr);
        return 2;
    }
    qm_PCIDevice board{};
    qm_InterruptContext* context = nullptr;
    if (qm_findPciDevice(&board, "EDU", 0x1234, 0x11E8, QM_PCI_ANY_ID, QM_PCI_ANY_ID, 1, 0, -1) != 0 ||
        qm_uio_createInterruptContext(&context, &board) != 0 || qm_uio_interruptAttach(context) != 0) {
        (void)std::fprintf(stderr, "qm_interrupt_bench: %s\n", pQmErrorStr);
        return 1;
    }
    auto* const registers = static_cast<volatile uint32_t*>(qm_mapMemory(&board, 0));
    if (registers == nullptr) return 1;
    int status = measureCalls(registers, *context);
    if (status == 0) status = printRows({interruptLatency(registers, *context, argv[1])});
    qm_uio_interruptDetach(context);
    return status;
}
