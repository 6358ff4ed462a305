#include "qm_common/clean_up_scope.hpp"
#include "qm_common/information_files.hpp"
#include "qm_translateEthernetInterfaces/label_string.hpp"
#include <qm/ethernet.h>
#include <qm/log.h>
#include <qm/paths.h>

#include <unistd.h>

#include <cstdio>
#include <exception>

namespace {

/// The file is rewritten whole: a text that does not get there in one piece leaves it empty.
int writeFile(const char* path, const std::string& text)
{
    const qm::CleanUpScope cleanUp;  // the file is closed whatever comes
    std::FILE* const file = std::fopen(path, "w+e");
    if (file == nullptr) {
        qm_printf(qm_error, "Failed to create file: %s\n", path);
        return -1;
    }
    (void)std::setvbuf(file, nullptr, _IONBF, 0);
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (!isWritten) (void)!::ftruncate(::fileno(file), 0);
    std::fclose(file);
    if (isWritten) return 0;
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
