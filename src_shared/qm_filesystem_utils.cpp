#include "qm_common/file_descriptor.hpp"
#include <qm/paths.h>

#include <sys/stat.h>

#include <cerrno>

namespace {

constexpr mode_t kDirectoryMode = 0755;

}  // namespace

int32_t qm_fs_checkDir(const char* path)
{
    const qm::FileDescriptor directory(path, O_RDONLY | O_DIRECTORY);
    if (directory) return 0;
    return errno == ENOENT ? -1 : -2;
}

int32_t qm_fs_ensureDirExists(const char* path)
{
    if (qm_fs_checkDir(path) == 0) return 0;
    return ::mkdir(path, kDirectoryMode) == 0 ? 0 : -1;
}
