#pragma once

#include "qm_common/clean_up_scope.hpp"

#include <dirent.h>

#include <memory>

namespace qm {

struct CloseDirectory
{
    void operator()(DIR* directory) const
    {
        const CleanUpScope cleanUp;
        ::closedir(directory);
    }
};

/// Owns an open directory, opened close-on-exec; null and errno when that fails. Closing it keeps errno.
using Directory = std::unique_ptr<DIR, CloseDirectory>;

inline Directory openDirectory(const char* path)
{
    return Directory(::opendir(path));
}

}  // namespace qm
