#include "qm_common/directory.hpp"
#include "qm_common/file_descriptor.hpp"
#include "qm_common/text_file.hpp"
#include "qm_error.hpp"
#include "qm_uio/uio_device.hpp"
#include <qm/soc.h>

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

namespace {

constexpr std::size_t kHandlerPathSize = 512;
constexpr std::size_t kAttributeSize = 4096 + 1;  // the kernel shows no more than a page
constexpr std::string_view kBlanks = " \t\n\v\f\r";

std::string_view firstWord(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_first_of(kBlanks));
}

/// A number that the kernel shows of a UIO device's memory region; nothing and the reason without one.
std::optional<unsigned long> readRegionNumber(int uioIndex, int region, const char* attribute)
{
    qm::uio::PathBuffer path;
    std::snprintf(path.data(), path.size(), "%s%d/maps/map%d/%s", qm::uio::kClass, uioIndex, region,
                  attribute);
    if (!qm::exists(path.data())) {
        qm::setErrorText("Could not find %s", path.data());
        return std::nullopt;
    }
    std::array<char, kAttributeSize> buffer;
    unsigned long number = 0;
    if (qm::readText(path.data(), buffer) && std::sscanf(buffer.data(), "0x%lx", &number) == 1) return number;
    qm::setErrorText("Failed to read %s", path.data());
    return std::nullopt;
}

/// Whether a handler of this name serves the interrupt: the kernel then shows a directory of that name.
bool isServedBy(const char* irq, const char* handler)
{
    std::array<char, kHandlerPathSize> path;
    const int length = std::snprintf(path.data(), path.size(), "%s%s/%s", qm::uio::kInterrupts, irq, handler);
    if (length < 0 || static_cast<std::size_t>(length) >= path.size()) return false;
    struct stat status;
    return ::stat(path.data(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// The interrupt that the device's handler serves; -1 and errno without one.
int findAxiIrqNumber(const char* deviceName)
{
    const qm::Directory interrupts = qm::openDirectory(qm::uio::kInterrupts);
    if (interrupts == nullptr) return -1;
    while (const dirent* const entry = ::readdir(interrupts.get())) {
        const int irq = qm::uio::wholeNumber(entry->d_name);
        if (irq >= 0 && isServedBy(entry->d_name, deviceName)) return irq;
    }
    errno = ENOENT;
    return -1;
}

}  // namespace

int qm_findAxiDevice(qm_AxiDevice* axiDevice, const char* deviceName)
{
    for (int index = 0;; ++index) {
        const auto path = qm::uio::numberedPath(qm::uio::kClass, index, "/name");
        if (!qm::exists(path.data())) {
            qm::setErrorText("Could not find %s", deviceName);
            return -1;
        }
        std::array<char, kAttributeSize> buffer;
        const auto name = qm::readText(path.data(), buffer);
        if (!name) {
            qm::setErrorText("Failed to read %s", path.data());
            return -1;
        }
        if (firstWord(*name) != deviceName) continue;
        axiDevice->uioIndex = index;
        std::snprintf(axiDevice->uioDevPath, sizeof axiDevice->uioDevPath, "%s%d", qm::uio::kNode, index);
        return 0;
    }
}

void* qm_mapAxiBar(qm_AxiDevice* axiDevice, int bar)
{
    if (!readRegionNumber(axiDevice->uioIndex, bar, "addr"))
        return nullptr;  // must be there, but is not used
    const auto offset = readRegionNumber(axiDevice->uioIndex, bar, "offset");
    if (!offset) return nullptr;
    const auto size = readRegionNumber(axiDevice->uioIndex, bar, "size");
    if (!size) return nullptr;
    qm::FileDescriptor node(axiDevice->uioDevPath, O_RDWR);
    if (!node) {
        qm::setErrorText("Failed to open %s: %s", axiDevice->uioDevPath, std::strerror(errno));
        return nullptr;
    }
    // Deliberate: at the attribute's value, not at the region's number in pages as the kernel has it.
    void* const mapping =
        ::mmap(nullptr, *size, PROT_READ | PROT_WRITE, MAP_SHARED, node.get(), static_cast<off_t>(*offset));
    if (mapping != MAP_FAILED) return mapping;
    qm::setErrorText("Failed to map memory: %s", std::strerror(errno));
    (void)node.release();  // Deliberate: the node stays open on this path.
    return nullptr;
}

int qm_setAxiIrqAffinity(const char* deviceName, int cpuNumber)
{
    if (deviceName == nullptr || *deviceName == '\0') {
        errno = EINVAL;
        qm::setErrorText("Invalid AXI device name");
        return -1;
    }
    const int irq = findAxiIrqNumber(deviceName);
    if (irq < 0) {
        qm::setErrorText("Failed to get IRQ number for AXI device %s", deviceName);
        return -1;
    }
    return qm::uio::placeIrq(irq, cpuNumber);
}
