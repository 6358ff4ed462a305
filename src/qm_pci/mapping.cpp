#include "qm_common/file_descriptor.hpp"
#include "qm_pci/board_paths.hpp"
#include "qm_root.hpp"
#include <qm/log.h>
#include <qm/pci_access.h>

#include <sys/io.h>
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <optional>

namespace {

constexpr char kMemoryDevice[] = "/dev/mem";

/// Whether a board's memory and ports answer; nothing when that cannot be read.
std::optional<bool> isEnabled(const char* path)
{
    const qm::FileDescriptor file(path, O_RDONLY);
    if (!file) {
        qm_printf(qm_warning, "Failed to open %s: %s\n", path, std::strerror(errno));
        return std::nullopt;
    }
    std::array<char, 10> count{};
    if (::read(file.get(), count.data(), count.size() - 1) < 0) {
        qm_printf(qm_warning, "Failed to read %s: %s\n", path, std::strerror(errno));
        return std::nullopt;
    }
    return std::strtol(count.data(), nullptr, 10) != 0;
}

void enable(const qm_PCIDevice& board)
{
    const auto path = qm::pci::boardFile(board, "enable");
    if (isEnabled(path.data()).value_or(true)) return;
    const qm::FileDescriptor file(path.data(), O_RDWR);
    if (!file)
        qm_printf(qm_warning, "Failed to open %s: %s\n", path.data(), std::strerror(errno));
    else if (::write(file.get(), "1", 1) != 1)
        qm_printf(qm_warning, "Failed to write %s: %s\n", path.data(), std::strerror(errno));
}

/// BaseAddress has 32 bits; the rest is taken from the raw address where the two belong together.
uint64_t physicalAddress(const qm_PCIDevice& board, uint32_t bar)
{
    const uint64_t raw = board.BaseAddress_raw[bar] & ~uint64_t{0xF};
    return static_cast<uint32_t>(raw) == board.BaseAddress[bar] ? raw : board.BaseAddress[bar];
}

qm::FileDescriptor openResource(const char* path)
{
    qm_printf(qm_debug, "Opening: %s\n", path);
    qm::FileDescriptor file(path, O_RDWR);
    if (!file) qm_printf(qm_error, "Failed opening PCI device: %s\n", std::strerror(errno));
    return file;
}

qm::FileDescriptor openMemory()
{
    qm::FileDescriptor file(kMemoryDevice, O_RDWR | O_SYNC);  // O_SYNC: uncached
    if (!file) qm_printf(qm_error, "Failed opening %s: %s\n", kMemoryDevice, std::strerror(errno));
    return file;
}

bool isBar(const char* caller, uint32_t bar)
{
    if (bar < QM_PCI_BARS) return true;
    qm_printf(qm_error, "%s: BAR %u is not one of 0 to 5\n", caller, bar);
    errno = EINVAL;
    return false;
}

}  // namespace

void* qm_mapMemory(qm_PCIDevice* dev, uint32_t bar)
{
    if (!isBar("qm_mapMemory", bar)) return nullptr;
    const qm::RootScope root;
    enable(*dev);

    const auto pageSize = static_cast<uint64_t>(::getpagesize());
    const uint64_t pageOffset = dev->BaseAddress[bar] & (pageSize - 1);
    const uint64_t length = dev->Length[bar] + pageOffset;
    const uint64_t fileOffset = pageOffset == 0 ? 0 : physicalAddress(*dev, bar) - pageOffset;
    const auto resource = qm::pci::boardResource(*dev, bar);
    qm::FileDescriptor file = openResource(resource.data());
    if (!file) return nullptr;
    dev->VirtAddress[bar] = 0;
    if (pageOffset != 0) file = openMemory();  // a page of a resource file holds no BAR that begins inside it
    if (!file) return nullptr;

    void* const mapping = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(),
                                 static_cast<off_t>(fileOffset));
    if (mapping == MAP_FAILED) {
        qm_printf(qm_error, "Failed mapping BAR %u of %s: %s\n", bar, qm::pci::boardAddress(*dev).data(),
                  std::strerror(errno));
        return nullptr;
    }
    void* const first = static_cast<char*>(mapping) + pageOffset;
    dev->VirtAddress[bar] = reinterpret_cast<uintptr_t>(first);
    return first;
}

void* qm_mapIo(qm_PCIDevice* device, uint32_t bar)
{
    if (!isBar("qm_mapIo", bar)) return nullptr;
    const qm::RootScope root;
    const int result = ::ioperm(device->BaseAddress[bar], device->Length[bar], 1);
    if (result != 0) qm_printf(qm_error, "ioperm returns %d: %s\n", result, std::strerror(errno));
    return reinterpret_cast<void*>(static_cast<uintptr_t>(device->BaseAddress[bar]));
}
