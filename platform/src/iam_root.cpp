#include <slrealtime/IamRoot.hpp>

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>
#include <string_view>

namespace slrealtime {

namespace {

constexpr std::string_view kCannotDrop = "IamRoot: cannot give up root rights; ending the process\n";

struct Rights
{
    std::mutex mutex;
    unsigned scopes = 0;
    bool raised = false;
    uid_t before = 0;
};

Rights& rights()
{
    // Never destroyed, as scopes may be opened by exit handlers; not on the heap, as the first one may be
    // opened when that is full.
    alignas(Rights) static std::array<std::byte, sizeof(Rights)> place;
    static auto& instance = *new (place.data()) Rights;
    return instance;
}

[[noreturn]] void endProcess()
{
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, kCannotDrop.data(), kCannotDrop.size());
    std::abort();
}

}  // namespace

IamRoot::IamRoot() noexcept
{
    const int cargo = errno;
    auto& all = rights();
    {
        const std::lock_guard lock(all.mutex);
        if (all.scopes++ == 0) {
            all.before = ::geteuid();
            all.raised = all.before != 0 && ::seteuid(0) == 0;
        }
    }
    errno = cargo;
}

IamRoot::~IamRoot()
{
    const int cargo = errno;
    auto& all = rights();
    {
        const std::lock_guard lock(all.mutex);
        if (--all.scopes == 0 && all.raised) {
            all.raised = false;
            if (::seteuid(all.before) != 0) endProcess();
        }
    }
    errno = cargo;
}

}  // namespace slrealtime
