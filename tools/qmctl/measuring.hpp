#ifndef QMCTL_MEASURING_HPP
#define QMCTL_MEASURING_HPP

#include "statistics.hpp"
#include <qm/pci.h>

#include <array>

/// What this machine's reactions take, measured in a real-time thread of the library's.
namespace qmctl {

struct Settings
{
    int cpu = -1;  ///< -1: any
    int priority = 90;
    int64_t periodNs = 1'000'000;
    double seconds = 5;

    [[nodiscard]] std::size_t samples() const
    {
        return static_cast<std::size_t>(seconds * 1e9 / static_cast<double>(periodNs)) + 1;
    }
};

/// How a board is made to interrupt, and how the interrupt is acknowledged: values for its registers.
struct Stimulus
{
    unsigned bar = 0;
    uint32_t raiseAt = 0, raiseValue = 0;
    uint32_t acknowledgeAt = 0, acknowledgeValue = 0;
};

/// How far a measurement is; on a terminal only.
class Progress
{
public:
    Progress(std::string name, const Recorder& recorder);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();
    void show() const;

private:
    std::string name_;
    const Recorder& recorder_;
    bool visible_;
};

/// From the time a periodic thread asked for to the time it ran. A Failure where it cannot be real-time.
void measureWakeUp(const Settings& settings, Recorder& recorder);

/// By how much qm_wait_ns() of this length waits longer than asked, by the kernel's clock.
void measureBusyWait(const Settings& settings, uint32_t nanoseconds, Recorder& recorder);

/// From the write that raises a board's interrupt to the end of the wait for it.
void measureInterrupt(const Settings& settings, qm_PCIDevice board, const Stimulus& stimulus,
                      Recorder& recorder);

}  // namespace qmctl

#endif
