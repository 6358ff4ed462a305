// The doctor's checks: each looks at a few files of the machine and says what it found.

#include "doctor.hpp"
#include "files.hpp"
#include <qm/time.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>

namespace qmctl {

namespace {

using files::entries;
using files::firstLine;
using files::present;

constexpr int kIpcLock = 14;  // capabilities
constexpr int kSysNice = 23;
constexpr long kDeepIdleUs = 10;
constexpr double kCounterTolerance = 0.01;
constexpr int kHighPriority = 90;  // of a model's fastest task

Finding ok(std::string text)
{
    return {Verdict::ok, std::move(text), ""};
}

Finding note(std::string text, std::string cure = "")
{
    return {Verdict::note, std::move(text), std::move(cure)};
}

Finding problem(std::string text, std::string cure = "")
{
    return {Verdict::problem, std::move(text), std::move(cure)};
}

long numberOr(const std::optional<std::string>& text, long otherwise)
{
    long value = otherwise;
    if (text) (void)std::from_chars(text->data(), text->data() + text->size(), value);
    return value;
}

Finding realTimeKernel(const Machine& machine)
{
    const std::string release = firstLine(machine / "proc/sys/kernel/osrelease").value_or("unknown kernel");
    const std::string version = firstLine(machine / "proc/sys/kernel/version").value_or("");
    const bool realTime = firstLine(machine / "sys/kernel/realtime") == "1" ||
                          version.find("PREEMPT_RT") != std::string::npos ||
                          version.find("PREEMPT RT") != std::string::npos;
    return realTime ? ok(release + ", PREEMPT_RT") : problem(release + " is no real-time kernel");
}

Finding isolatedCpus(const Machine& machine)
{
    const std::string cpus = firstLine(machine / "sys/devices/system/cpu/isolated").value_or("");
    return cpus.empty() ? problem("no CPU is isolated") : ok("isolated: " + cpus);
}

Finding throttling(const Machine& machine)
{
    const auto runtime = firstLine(machine / "proc/sys/kernel/sched_rt_runtime_us");
    const long period = numberOr(firstLine(machine / "proc/sys/kernel/sched_rt_period_us"), 1'000'000);
    if (!runtime) return note("the kernel does not tell its limit");
    if (numberOr(runtime, -1) < 0) return ok("off");
    return problem(fmt::format("real-time threads get {} of every {} us", *runtime, period));
}

/// A line of /proc/self/limits: the soft limit, -1 for "unlimited".
long limit(const Machine& machine, const std::string& name)
{
    for (const std::string& line : files::lines(machine / "proc/self/limits")) {
        if (!line.starts_with(name)) continue;
        std::istringstream rest(line.substr(name.size()));
        std::string value;
        rest >> value;
        return value == "unlimited" ? -1 : numberOr(value, 0);
    }
    return 0;
}

bool hasCapability(const Machine& machine, int number)
{
    constexpr std::string_view kLabel = "CapEff:\t";
    for (const std::string& line : files::lines(machine / "proc/self/status")) {
        if (!line.starts_with(kLabel)) continue;
        const std::string digits = line.substr(kLabel.size());
        unsigned long long set = 0;
        (void)std::from_chars(digits.data(), digits.data() + digits.size(), set, 16);
        return (set >> number & 1U) != 0;
    }
    return false;
}

Finding lockedMemory(const Machine& machine)
{
    if (hasCapability(machine, kIpcLock)) return ok("unlimited (CAP_IPC_LOCK)");
    const long bytes = limit(machine, "Max locked memory");
    return bytes < 0 ? ok("unlimited") : problem(fmt::format("at most {} KiB may be locked", bytes / 1024));
}

Finding scheduling(const Machine& machine)
{
    if (hasCapability(machine, kSysNice)) return ok("any priority (CAP_SYS_NICE)");
    const long priority = limit(machine, "Max realtime priority");
    if (priority < 0 || priority >= kHighPriority) return ok("real-time priorities are allowed");
    return problem(fmt::format("the highest real-time priority allowed is {}", priority));
}

std::vector<std::string> cpus(const Machine& machine)
{
    std::vector<std::string> found;
    for (const std::string& name : entries(machine / "sys/devices/system/cpu"))
        if (name.size() > 3 && name.starts_with("cpu") &&
            std::isdigit(static_cast<unsigned char>(name[3])) != 0)
            found.push_back(name);
    return found;
}

Finding frequencyScaling(const Machine& machine)
{
    std::vector<std::string> scaled;
    bool known = false;
    for (const std::string& cpu : cpus(machine)) {
        const auto governor =
            firstLine(machine / ("sys/devices/system/cpu/" + cpu + "/cpufreq/scaling_governor"));
        known = known || governor.has_value();
        if (governor && *governor != "performance") scaled.push_back(cpu + " " + *governor);
    }
    if (!known) return ok("the kernel does not scale");
    return scaled.empty() ? ok("governor performance")
                          : problem(fmt::format("governor: {}", fmt::join(scaled, ", ")));
}

Finding idleStates(const Machine& machine)
{
    const std::string states = "sys/devices/system/cpu/cpu0/cpuidle/";
    std::vector<std::string> deep;
    for (const std::string& state : entries(machine / states)) {
        const std::string folder = states + state + "/";
        const long latency = numberOr(firstLine(machine / (folder + "latency")), 0);
        if (latency <= kDeepIdleUs || firstLine(machine / (folder + "disable")) == "1") continue;
        deep.push_back(
            fmt::format("{} {} us", firstLine(machine / (folder + "name")).value_or(state), latency));
    }
    return deep.empty() ? ok("none that takes long to leave")
                        : problem(fmt::format("in use: {}", fmt::join(deep, ", ")));
}

Finding uioDriver(const Machine& machine)
{
    return present(machine / "sys/bus/pci/drivers/uio_quillmark") ? ok("loaded") : problem("not loaded");
}

Finding dmaManager(const Machine& machine)
{
    if (!present(machine / "dev/u-dma-buf-mgr")) return problem("/dev/u-dma-buf-mgr is missing");
    return machine.measurements.dmaManagerWritable ? ok("/dev/u-dma-buf-mgr is writable")
                                                   : problem("/dev/u-dma-buf-mgr is not writable",
                                                             "chmod 666 /dev/u-dma-buf-mgr, by a udev rule");
}

Finding contiguousMemory(const Machine& machine)
{
    long total = 0;
    long left = 0;
    for (const std::string& line : files::lines(machine / "proc/meminfo")) {
        std::istringstream words(line);
        std::string label;
        long kilobytes = 0;
        words >> label >> kilobytes;
        if (label == "CmaTotal:") total = kilobytes;
        if (label == "CmaFree:") left = kilobytes;
    }
    if (total == 0) return note("none is reserved");
    const std::string text = fmt::format("{} of {} KiB free", left, total);
    return static_cast<double>(left) < static_cast<double>(total) / 10 ? note(text) : ok(text);
}

/// "[none] integrity": the word in brackets.
std::string chosen(const std::string& line)
{
    const std::size_t begin = line.find('[');
    const std::size_t end = line.find(']');
    return begin == std::string::npos || end == std::string::npos ? ""
                                                                  : line.substr(begin + 1, end - begin - 1);
}

Finding physicalMemory(const Machine& machine)
{
    if (!present(machine / "dev/mem"))
        return problem("/dev/mem is missing", "boot a kernel with CONFIG_DEVMEM=y");
    const std::string lock = chosen(firstLine(machine / "sys/kernel/security/lockdown").value_or(""));
    if (!lock.empty() && lock != "none")
        return problem("the kernel is locked down (" + lock + ")",
                       "boot with lockdown=none, Secure Boot off");
    if (firstLine(machine / "proc/cmdline").value_or("").find("iomem=relaxed") != std::string::npos)
        return ok("iomem=relaxed");
    const std::string release = firstLine(machine / "proc/sys/kernel/osrelease").value_or("");
    const auto built = files::lines(machine / ("boot/config-" + release));
    if (built.empty()) return note("how strict the kernel is cannot be seen");
    const bool strict = std::ranges::count(built, "CONFIG_IO_STRICT_DEVMEM=y") > 0;
    return strict ? note("strict: what a driver holds cannot be mapped") : ok("not strict");
}

Finding msrDevice(const Machine& machine)
{
    return present(machine / "dev/cpu/0/msr") ? ok("/dev/cpu/0/msr is there")
                                              : note("/dev/cpu/0/msr is missing");
}

Finding configuration(const Machine& machine)
{
    if (!present(machine / "usr/quillmark")) return problem("/usr/quillmark is missing");
    return machine.measurements.configurationWritable ? ok("/usr/quillmark is writable")
                                                      : problem("/usr/quillmark is not writable");
}

Finding sharedMemory(const Machine& machine)
{
    return machine.measurements.sharedMemoryWritable ? ok("/dev/shm is writable")
                                                     : problem("/dev/shm is not writable");
}

Finding clockSource(const Machine& machine)
{
    const std::string current =
        firstLine(machine / "sys/devices/system/clocksource/clocksource0/current_clocksource")
            .value_or("unknown");
    return current == "tsc" || current == "kvm-clock" ? ok(current) : problem(current);
}

/// The waits take the counter as one of 3.3 GHz: by as much as it is slower a wait is too long.
Finding counterRate(const Machine& machine)
{
    const double assumed = static_cast<double>(qm_getTSCFrequency());
    const double real = machine.measurements.counterHz;
    if (real <= 0) return note("not measured");
    const double ratio = assumed / real;
    const std::string rate = fmt::format("{:.3f} GHz", real / 1e9);
    if (std::abs(ratio - 1.0) <= kCounterTolerance) return ok(rate);
    return problem(
        fmt::format("{} instead of {:.1f}: qm_wait_ns(1000) lasts {:.0f} ns, {:.0f} % too {}", rate,
                    assumed / 1e9, 1000 * ratio, std::abs(ratio - 1.0) * 100, ratio > 1.0 ? "long" : "short"),
        fmt::format("multiply what is passed to the waits by {:.3f} on this machine", 1.0 / ratio));
}

Finding leftBuffers(const Machine& machine)
{
    const auto names = entries(machine / "sys/class/u-dma-buf");
    const auto count =
        std::ranges::count_if(names, [](const std::string& name) { return name.starts_with("qm-udma-buf"); });
    return count == 0 ? ok("none")
                      : note(fmt::format("{} buffer{} in the kernel", count, count == 1 ? "" : "s"));
}

Finding leftMemory(const Machine& machine)
{
    return present(machine / "dev/shm/qm_persMem_main") ? note("objects of an earlier run are there")
                                                        : ok("none");
}

}  // namespace

const std::vector<Check>& checks()
{
    static const std::vector<Check> all{
        {"real-time kernel", "steps start late whenever the kernel is busy",
         "install and boot linux-image-rt-amd64", realTimeKernel},
        {"isolated CPUs", "other programs share the model's CPU", "boot with isolcpus=1 (or more CPUs)",
         isolatedCpus},
        {"throttling", "a model that polls is stopped for the rest of every period",
         "sysctl -w kernel.sched_rt_runtime_us=-1", throttling},
        {"locked memory", "a page fault in a step takes milliseconds",
         "run as root, or raise memlock in /etc/security/limits.conf", lockedMemory},
        {"scheduling rights", "threads do not become real-time",
         "run as root, or raise rtprio to 99 in /etc/security/limits.conf", scheduling},
        {"frequency scaling", "execution times change with the CPU's frequency",
         "cpupower frequency-set -g performance", frequencyScaling},
        {"idle states", "wake-up takes as long as leaving the state",
         "boot with processor.max_cstate=1 intel_idle.max_cstate=0", idleStates},
        {"interrupt driver", "interrupts of boards do not reach models", "modprobe uio_quillmark", uioDriver},
        {"DMA manager", "buffers for DMA cannot be allocated", "modprobe u-dma-buf-mgr", dmaManager},
        {"contiguous memory", "large buffers for DMA are refused", "boot with cma=64M", contiguousMemory},
        {"/dev/mem", "BARs smaller than a page cannot be mapped", "boot with iomem=relaxed", physicalMemory},
        {"msr device", "the CPU's temperature cannot be read", "modprobe msr", msrDevice},
        {"configuration", "labels of Ethernet ports cannot be written",
         "run as root; mkdir -p /usr/quillmark/sysinfo", configuration},
        {"shared memory", "persistent memory cannot be made", "mount -t tmpfs -o mode=1777 tmpfs /dev/shm",
         sharedMemory},
        {"clock source", "reading the time takes microseconds", "boot with tsc=reliable (clocksource=tsc)",
         clockSource},
        {"counter's rate", "every busy wait (qm_wait_ns, short qm_wait_s) has another length", "",
         counterRate},
        {"leftover buffers", "the next model that allocates deletes them, in use or not", "qmctl dma clear",
         leftBuffers},
        {"leftover memory", "the next run of the same model finds its old values", "qmctl persist clear",
         leftMemory},
    };
    return all;
}

}  // namespace qmctl
