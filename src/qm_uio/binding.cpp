#include "qm_common/directory.hpp"
#include "qm_common/file_descriptor.hpp"
#include "qm_pci/board_paths.hpp"
#include "qm_root.hpp"
#include "qm_uio/uio_device.hpp"
#include <qm/interrupts.h>
#include <qm/log.h>
#include <qm/pci_access.h>

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

namespace {

constexpr char kDriver[] = "uio_quillmark";
constexpr char kNewId[] = "/sys/bus/pci/drivers/uio_quillmark/new_id";
constexpr char kUioDirectory[] = "uio";
constexpr ssize_t kIdsLength = 9;
constexpr mode_t kNodeMode = 0666;

bool isBoundToUio(const qm_PCIDevice& board)
{
    return qm::exists(qm::pci::boardFile(board, kUioDirectory).data());
}

/// Teaches the driver the board's identifiers; the driver then takes every board with them that is free.
bool teachIds(const qm_PCIDevice& board)
{
    const qm::FileDescriptor file(kNewId, O_WRONLY);
    if (!file) {
        qm_printf(qm_info, "bindDeviceToUio: open(new_id) failed: %s\n", std::strerror(errno));
        return false;
    }
    std::array<char, kIdsLength + 1> ids{};
    std::snprintf(ids.data(), ids.size(), "%4x %4x", board.VendorId, board.DeviceId);
    errno = 0;
    const ssize_t written = ::write(file.get(), ids.data(), kIdsLength);
    if (written == kIdsLength || (written < 0 && errno == EEXIST)) return true;
    if (errno == 0) errno = EIO;
    qm_printf(qm_info, "bindDeviceToUio: write(new_id) failed: %s (bytes=%d)\n", std::strerror(errno),
              static_cast<int>(written));
    return false;
}

/// For a board that the driver did not take on its own: another driver has it, or the identifiers were known.
bool takeOver(qm_PCIDevice& board)
{
    if (qm_pci_unbindDriver(&board) != 0) {
        qm_printf(qm_info, "bindDeviceToUio: unbind existing driver failed.\n");
        return false;
    }
    if (qm_pci_bindDriver(&board, kDriver) != 0) {
        qm_printf(qm_info, "bindDeviceToUio: bind to uio_quillmark failed.\n");
        return false;
    }
    return true;
}

/// N of the board's first entry "uioN"; nothing and errno without one.
std::optional<int> findIndex(const qm_PCIDevice& board)
{
    const qm::Directory entries = qm::openDirectory(qm::pci::boardFile(board, kUioDirectory).data());
    if (entries == nullptr) return std::nullopt;
    errno = 0;
    int index = 0;
    while (const dirent* const entry = ::readdir(entries.get()))
        if (std::sscanf(entry->d_name, "uio%d", &index) == 1) return index;
    if (errno == 0) errno = ENODEV;
    return std::nullopt;
}

}  // namespace

int qm_uio_bindDeviceToUio(qm_PCIDevice* pciDev)
{
    if (pciDev == nullptr) {
        errno = EINVAL;
        qm_printf(qm_info, "bindDeviceToUio: device is null.\n");
        return -1;
    }
    if (!isBoundToUio(*pciDev)) {
        const qm::RootScope root;
        if (!teachIds(*pciDev)) return -1;
        if (!isBoundToUio(*pciDev) && !takeOver(*pciDev)) return -1;
    }
    const auto index = findIndex(*pciDev);
    if (!index) return -1;
    const qm::RootScope root;
    return ::chmod(qm::uio::numberedPath(qm::uio::kNode, *index).data(), kNodeMode) == 0 ? *index : -1;
}
