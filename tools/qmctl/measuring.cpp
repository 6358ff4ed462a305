#include "measuring.hpp"

#include <qm/error.h>
#include <qm/interrupts.h>
#include <qm/pci_access.h>
#include <qm/threads.h>
#include <qm/time.h>

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <poll.h>

namespace qmctl {

namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kProgressNs = 100'000'000;
constexpr int kLostMs = 2000;

int64_t now()
{
    timespec time{};
    (void)clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kSecond + time.tv_nsec;
}

void sleepUntil(int64_t due)
{
    const timespec time{due / kSecond, due % kSecond};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) == EINTR) {
    }
}

/// A real-time thread on its CPU that runs a part to its end.
class RealTimeThread
{
public:
    RealTimeThread(const Settings& settings, std::function<void()> part)
        : settings_(settings), part_(std::move(part))
    {
        (void)mlockall(MCL_CURRENT | MCL_FUTURE);  // the doctor tells who cannot
        handle_ = qm_createThread(&RealTimeThread::enter, this);
        if (handle_ == nullptr)
            throw Failure(
                "cannot start a real-time thread; run as root, or see 'qmctl doctor' for the rights");
    }
    RealTimeThread(const RealTimeThread&) = delete;
    RealTimeThread& operator=(const RealTimeThread&) = delete;
    ~RealTimeThread()
    {
        (void)qm_destroyThread(handle_);
        (void)munlockall();
    }

    [[nodiscard]] bool isDone() const { return done_; }

    /// Waits for the end, and tells why it came early.
    void finish(const Progress& progress)
    {
        while (!done_) {
            sleepUntil(now() + kProgressNs);
            progress.show();
        }
        throwProblem();
    }

    void throwProblem() const
    {
        if (!problem_.empty()) throw Failure(problem_);
    }

    void fail(std::string problem) { problem_ = std::move(problem); }

private:
    static void* enter(void* self)
    {
        auto& thread = *static_cast<RealTimeThread*>(self);
        if (qm_setPidPriority(0, thread.settings_.priority) != 0)
            thread.fail(fmt::format("cannot take the real-time priority {}: {}", thread.settings_.priority,
                                    std::strerror(errno)));
        else if (thread.settings_.cpu >= 0 && qm_pinThisThreadToCpu(thread.settings_.cpu) != 0)
            thread.fail(fmt::format("cannot run on CPU {}: {}; 'nproc --all' tells how many there are",
                                    thread.settings_.cpu, std::strerror(errno)));
        else
            thread.part_();
        thread.done_ = true;
        return nullptr;
    }

    Settings settings_;
    std::function<void()> part_;
    std::string problem_;
    std::atomic<bool> done_ = false;
    void* handle_ = nullptr;
};

struct DetachInterrupt
{
    void operator()(qm_InterruptContext* context) const
    {
        (void)qm_uio_resetIrqProps(context);
        qm_uio_interruptDetach(context);
    }
};

using Interrupt = std::unique_ptr<qm_InterruptContext, DetachInterrupt>;

/// A board with its interrupt attached and its registers mapped.
struct AttachedBoard
{
    AttachedBoard(qm_PCIDevice& board, const Stimulus& stimulus, int priority)
    {
        qm_InterruptContext* context = nullptr;
        if (qm_uio_createInterruptContext(&context, &board) != 0) throw Failure(pQmErrorStr);
        interrupt.reset(context);
        interrupt->priority = priority;
        if (qm_uio_interruptAttach(context) != 0)
            throw Failure(fmt::format("{}; see 'qmctl doctor'", firstLine()));
        // Without a thread of its own the interrupt is measured as the kernel has it.
        (void)qm_uio_setIrqProps(context);
        registers = static_cast<volatile uint32_t*>(qm_mapMemory(&board, stimulus.bar));
        if (registers == nullptr) throw Failure(fmt::format("cannot map BAR {} of the board", stimulus.bar));
        if (std::max(stimulus.raiseAt, stimulus.acknowledgeAt) + sizeof(uint32_t) >
            board.Length[stimulus.bar])
            throw usage(fmt::format("BAR {} has {} bytes only", stimulus.bar, board.Length[stimulus.bar]));
    }

    static std::string firstLine()
    {
        const std::string text = pQmErrorStr;
        return text.substr(0, text.find('\n'));
    }

    void write(uint32_t offset, uint32_t value) const { registers[offset / sizeof value] = value; }

    Interrupt interrupt;
    volatile uint32_t* registers = nullptr;
};

/// The receiving side: arms, waits, measures, acknowledges. False, and the reason, when one is lost.
bool receive(const AttachedBoard& board, const Stimulus& stimulus, std::atomic<bool>& armed,
             const std::atomic<int64_t>& raisedAt, Recorder& recorder)
{
    qm_InterruptContext* const context = board.interrupt.get();
    if (qm_uio_enableInterrupt(context) != 0) return false;
    armed = true;
    pollfd uio{context->uiofd, POLLIN, 0};
    if (poll(&uio, 1, kLostMs) != 1) return false;
    if (qm_uio_interruptWait(context) != 0) return false;
    const int64_t arrived = now();
    board.write(stimulus.acknowledgeAt, stimulus.acknowledgeValue);
    recorder.record(arrived - raisedAt);
    return true;
}

}  // namespace

Progress::Progress(std::string name, const Recorder& recorder)
    : name_(std::move(name)), recorder_(recorder), visible_(isatty(STDERR_FILENO) != 0)
{}

Progress::~Progress()
{
    if (visible_) (void)std::fputs("\r\033[K", stderr);
}

void Progress::show() const
{
    if (!visible_ || recorder_.count() == 0) return;
    (void)std::fprintf(stderr, "\r\033[K%s: %zu of %zu samples, max %.1f us", name_.c_str(),
                       recorder_.count(), recorder_.room(), static_cast<double>(recorder_.most()) / 1e3);
}

void measureWakeUp(const Settings& settings, Recorder& recorder)
{
    RealTimeThread thread(settings, [&] {
        int64_t due = now() + settings.periodNs;
        for (std::size_t i = 0; i < settings.samples(); ++i) {
            sleepUntil(due);
            const int64_t late = now() - due;
            recorder.record(late);
            due += settings.periodNs * (1 + late / settings.periodNs);  // steps that were missed are left out
        }
    });
    thread.finish(Progress("wake-up", recorder));
}

void measureBusyWait(const Settings& settings, uint32_t nanoseconds, Recorder& recorder)
{
    RealTimeThread thread(settings, [&] {
        for (std::size_t i = 0; i < recorder.room(); ++i) {
            const int64_t begin = now();
            qm_wait_ns(nanoseconds);
            recorder.record(now() - begin - nanoseconds);
        }
    });
    thread.finish(Progress(fmt::format("qm_wait_ns({})", nanoseconds), recorder));
}

void measureInterrupt(const Settings& settings, qm_PCIDevice board, const Stimulus& stimulus,
                      Recorder& recorder)
{
    const AttachedBoard attached(board, stimulus, settings.priority);
    std::atomic<bool> armed = false;
    std::atomic<int64_t> raisedAt = 0;
    bool lost = false;
    {
        RealTimeThread thread(settings, [&] {
            for (std::size_t i = 0; i < settings.samples() && !lost; ++i)
                lost = !receive(attached, stimulus, armed, raisedAt, recorder);
        });
        const Progress progress("interrupt", recorder);
        for (int64_t shown = now(); !thread.isDone();) {
            sleepUntil(now() + settings.periodNs);
            if (armed.exchange(false)) {
                raisedAt = now();
                attached.write(stimulus.raiseAt, stimulus.raiseValue);
            }
            if (now() - shown < kProgressNs) continue;
            shown = now();
            progress.show();
        }
        thread.throwProblem();
    }
    if (lost)
        throw Failure(
            fmt::format("no interrupt came within {} s after {}; do --raise and --acknowledge fit the board?",
                        kLostMs / 1000, recorder.count()));
}

}  // namespace qmctl
