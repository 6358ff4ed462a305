#pragma once

#include "qm_common/errno_keeper.hpp"
#include <slrealtime/IamRoot.hpp>

#include <cstdint>
#include <optional>

namespace qm {

/// Holds root rights for the span of one call. Taking and dropping them keeps errno.
class RootScope
{
public:
    RootScope()
    {
        const ErrnoKeeper kept;
        rights_.emplace();
    }
    ~RootScope()
    {
        const ErrnoKeeper kept;
        rights_.reset();
    }
    RootScope(const RootScope&) = delete;
    RootScope& operator=(const RootScope&) = delete;

private:
    std::optional<slrealtime::IamRoot> rights_;
};

}  // namespace qm

/// Opens a path with root rights, close-on-exec; the descriptor, or -1 and errno as open() left it.
int qm_openAsRoot(const char* path, int32_t oflag);
