#pragma once

#include <cerrno>

namespace qm {

/// -1, with errno.
inline int failWith(int error)
{
    errno = error;
    return -1;
}

}  // namespace qm
