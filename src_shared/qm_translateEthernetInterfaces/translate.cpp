#include "qm_common/file_descriptor.hpp"
#include "qm_common/information_files.hpp"
#include "qm_translateEthernetInterfaces/label_string.hpp"
#include <qm/ethernet.h>
#include <qm/log.h>
#include <qm/paths.h>

#include <cstddef>
#include <exception>

namespace {

constexpr mode_t kFileMode = 0666;  // less the process's mask

/// The file is rewritten whole: a text that does not get there in one piece leaves it empty.
int writeFile(const char* path, const std::string& text)
{
    const qm::FileDescriptor file(path, O_RDWR | O_CREAT | O_TRUNC, kFileMode);
    if (!file) {
        qm_printf(qm_error, "Failed to create file: %s\n", path);
        return -1;
    }
    const ssize_t written = ::write(file.get(), text.data(), text.size());
    if (written >= 0 && static_cast<std::size_t>(written) == text.size()) return 0;
    (void)!::ftruncate(file.get(), 0);
    qm_printf(qm_error, "Failed to write file: %s\n", path);
    return -1;
}

}  // namespace

int qm_translateEthernetInterfaces(void)
try {
    const qm::ethernet::PciTree tree;
    qm::ethernet::EthernetDevices devices;
    if (qm::ethernet::getEthernetDevices(tree, devices) != 0) return -1;
    const std::string ethStr = qm::ethernet::labelString(devices, qm_getTargetType());
    if (qm_fs_ensureDirExists(qm::kInformationDirectory) != 0) {
        qm_printf(qm_error, "Failed to create directory: %s\n", qm::kInformationDirectory);
        return -1;
    }
    return writeFile(qm::kEthernetLabelsFile, ethStr);
} catch (const std::exception&) {
    return -1;  // no memory
}
