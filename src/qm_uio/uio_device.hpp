#pragma once

#include <sys/types.h>

#include <array>
#include <string_view>

/// What the kernel shows of a UIO device: its node, its interrupt, the thread that handles it.
namespace qm::uio {

constexpr char kNode[] = "/dev/uio";
constexpr char kClass[] = "/sys/class/uio/uio";
constexpr char kInterrupts[] = "/proc/irq/";
constexpr int kThreadPriority = 50;  ///< what the kernel gives its interrupt threads
constexpr char kNullContext[] = "Invalid nullptr passed for context";

using PathBuffer = std::array<char, 64>;

/// "<before><number><after>"
PathBuffer numberedPath(const char* before, int number, const char* after = "");

/// The decimal number that a text is as a whole; negative when it is none.
int wholeNumber(std::string_view text);

/// Linux interrupt number of a UIO device, or -1.
int getUioIrqNumber(int uioIndex);

/// The kernel thread that handles a UIO device's interrupt; -1 and errno: EINVAL when the device has no name,
/// ENOENT without a thread, E2BIG with several.
pid_t findQmUioIrqThreadPid(int uioIndex);

/// Asks the kernel to deliver an interrupt to a CPU; a negative CPU asks for nothing. 0, or -1, errno and the
/// reason in pQmErrorStr.
int placeIrq(int irq, int cpu);

/// Moves a UIO device's interrupt to CPU 0. 0, or -1 and errno.
int resetUioIrqAffinity(int uioIndex);

}  // namespace qm::uio
