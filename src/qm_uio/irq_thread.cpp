#include "qm_common/directory.hpp"
#include "qm_common/fail_with.hpp"
#include "qm_common/file_descriptor.hpp"
#include "qm_common/text_file.hpp"
#include "qm_error.hpp"
#include "qm_root.hpp"
#include "qm_uio/uio_device.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

namespace qm::uio {

namespace {

constexpr char kProcesses[] = "/proc/";
constexpr std::string_view kThreadPrefix = "irq/";
constexpr int kHighestIrq = 99999;
constexpr std::string_view kPlacedForGood = "1";

/// First line of a kernel attribute, without its line break, cut to the buffer; nothing and errno when there
/// is none.
std::optional<std::string_view> readLine(const char* path, std::span<char> buffer)
{
    errno = 0;
    const auto text = readText(path, buffer);
    if (text && !text->empty()) return text->substr(0, text->find_first_of("\r\n"));
    if (errno == 0) errno = EIO;
    return std::nullopt;
}

/// Whether this is the name of a thread that handles the device's interrupt, "irq/<number>-<device>".
bool namesThreadOf(std::string_view device, std::string_view name)
{
    const std::size_t dash = name.find('-');
    return name.starts_with(kThreadPrefix) && dash != std::string_view::npos &&
           name.substr(dash + 1) == device;
}

bool isThreadOf(std::string_view device, int pid)
{
    std::array<char, 128> buffer;
    const auto name = readLine(numberedPath(kProcesses, pid, "/comm").data(), buffer);
    return name && namesThreadOf(device, *name);
}

PathBuffer affinityList(int irq)
{
    return numberedPath(kInterrupts, irq, "/smp_affinity_list");
}

int writeAffinity(int irq, int cpu)
{
    FileDescriptor file(affinityList(irq).data(), O_WRONLY | O_TRUNC);
    if (!file) return -1;
    std::array<char, 16> text{};
    const int length = std::snprintf(text.data(), text.size(), "%d\n", cpu);
    errno = 0;
    if (::write(file.get(), text.data(), static_cast<std::size_t>(length)) == length)
        return ::close(file.release());
    if (errno == 0) errno = EIO;
    return -1;
}

int setIrqAffinity(int irq, int cpu)
{
    if (irq < 0) return failWith(EINVAL);
    if (cpu < 0) return 0;
    std::array<char, 256> buffer;
    auto list = readLine(affinityList(irq).data(), buffer);
    if (!list) return -1;
    list->remove_prefix(std::min(list->find_first_not_of(" \t"), list->size()));
    // Deliberate: an interrupt whose list is exactly this stays there, whatever CPU is asked for.
    if (list->substr(0, list->find_first_of(" \t")) == kPlacedForGood) return 0;
    return writeAffinity(irq, cpu);
}

}  // namespace

PathBuffer numberedPath(const char* before, int number, const char* after)
{
    PathBuffer path{};
    std::snprintf(path.data(), path.size(), "%s%d%s", before, number, after);
    return path;
}

int wholeNumber(std::string_view text)
{
    const char* const end = text.data() + text.size();
    int number = -1;
    const auto parsed = std::from_chars(text.data(), end, number);
    return parsed.ec == std::errc{} && parsed.ptr == end ? number : -1;
}

int getUioIrqNumber(int uioIndex)
{
    std::array<char, 64> buffer;
    const auto line = readLine(numberedPath(kClass, uioIndex, "/device/irq").data(), buffer);
    const int irq = line ? wholeNumber(*line) : -1;
    return irq >= 0 && irq <= kHighestIrq ? irq : -1;
}

pid_t findQmUioIrqThreadPid(int uioIndex)
{
    std::array<char, 128> buffer;
    const auto device = readLine(numberedPath(kClass, uioIndex, "/name").data(), buffer);
    if (!device || device->empty()) return failWith(EINVAL);
    const Directory processes = openDirectory(kProcesses);
    if (processes == nullptr) return -1;

    pid_t thread = -1;
    while (const dirent* const entry = ::readdir(processes.get())) {
        const int pid = wholeNumber(entry->d_name);
        if (pid < 1 || !isThreadOf(*device, pid)) continue;
        if (thread != -1) return failWith(E2BIG);
        thread = pid;
    }
    return thread != -1 ? thread : failWith(ENOENT);
}

int placeIrq(int irq, int cpu)
{
    const RootScope root;
    if (setIrqAffinity(irq, cpu) == 0) return 0;
    setErrorText("Failed to set IRQ %d affinity to CPU %d: %s", irq, cpu, std::strerror(errno));
    return -1;
}

int resetUioIrqAffinity(int uioIndex)
{
    const int irq = getUioIrqNumber(uioIndex);
    if (irq < 0) return failWith(EINVAL);
    const RootScope root;
    return writeAffinity(irq, 0);
}

}  // namespace qm::uio
