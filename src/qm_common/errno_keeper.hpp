#pragma once

#include <cerrno>

namespace qm {

/// Leaves errno at its end as it was at its start, on every way out.
class ErrnoKeeper
{
public:
    ErrnoKeeper() = default;
    ~ErrnoKeeper() { errno = kept_; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

private:
    int kept_ = errno;
};

}  // namespace qm
