#include "interrupt_latency.hpp"

#include "child.hpp"

#include <unistd.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

namespace {

constexpr auto kRest = std::chrono::microseconds(300);
constexpr int kPriority = 90;
constexpr int kCpu = 1;  // the isolated one
constexpr double kMost = 1.1;

/// What both threads use.
struct Exchange
{
    volatile uint32_t* registers;
    qm_InterruptContext& context;
    std::atomic<bool> armed = false;
    std::atomic<bool> done = false;
    std::atomic<Clock::time_point> raised = {};
    std::vector<double> ours = {}, theirs = {};
};

bool waitBare(const qm_InterruptContext& context)
{
    int count = 0;
    return read(context.uiofd, &count, sizeof count) == sizeof count;
}

/// The waiting side; the raising one is behind it on another CPU.
void receiveAll(Exchange& exchange)
{
    for (int i = 0; i < 2 * kSamples; ++i) {
        const bool library = i % 2 == 0;
        require(qm_uio_enableInterrupt(&exchange.context) == 0, "qm_uio_enableInterrupt");
        exchange.armed = true;
        const bool came = library ? qm_uio_interruptWait(&exchange.context) == 0 : waitBare(exchange.context);
        const auto arrived = Clock::now();
        require(came, "waiting for the interrupt");
        exchange.registers[kAcknowledge] = 1;
        const std::chrono::duration<double, std::micro> took = arrived - exchange.raised.load();
        (library ? exchange.ours : exchange.theirs).push_back(took.count());
    }
    exchange.done = true;
}

void write(const std::string& path, const std::vector<double>& times)
{
    std::ofstream file(path);
    for (const double time : times)
        file << time << '\n';
    require(!file.flush().fail(), path.c_str());
}

void* enter(void* exchange)
{
    require(qm_setPidPriority(0, kPriority) == 0 && qm_pinThisThreadToCpu(kCpu) == 0, "real-time thread");
    receiveAll(*static_cast<Exchange*>(exchange));
    return nullptr;
}

/// Interrupts whoever waits, when it has had the time to begin to.
void raiseAll(Exchange& exchange)
{
    while (!exchange.done) {
        std::this_thread::sleep_for(kRest);
        if (!exchange.armed.exchange(false)) continue;
        exchange.raised = Clock::now();
        exchange.registers[kRaise] = 1;
    }
}

}  // namespace

Row interruptLatency(volatile uint32_t* registers, qm_InterruptContext& context, const std::string& folder)
{
    Exchange exchange{registers, context};
    exchange.ours.reserve(kSamples);
    exchange.theirs.reserve(kSamples);
    void* const receiver = qm_createThread(enter, &exchange);
    require(receiver != nullptr, "qm_createThread");
    raiseAll(exchange);
    (void)qm_destroyThread(receiver);
    write(folder + "/interrupt", exchange.ours);
    write(folder + "/read", exchange.theirs);
    return ratioRow("interrupt, from raising it to the end of the wait, median",
                    "bare `read` on the same board", percentile(exchange.ours, 0.5),
                    percentile(exchange.theirs, 0.5), "us", kMost);
}
