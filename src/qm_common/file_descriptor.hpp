#pragma once

#include "qm_common/clean_up_scope.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace qm {

inline bool exists(const char* path)
{
    return ::access(path, F_OK) == 0;
}

/// Owns a file descriptor; closing it keeps errno.
class FileDescriptor
{
public:
    /// Opens close-on-exec; false and errno when that fails. The mode is that of a file that this creates.
    FileDescriptor(const char* path, int flags, mode_t mode = 0) : fd_(::open(path, flags | O_CLOEXEC, mode))
    {}
    /// Takes over what another function opened; false for -1.
    static FileDescriptor adopt(int descriptor) { return FileDescriptor(descriptor); }
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~FileDescriptor()
    {
        if (fd_ < 0) return;
        const CleanUpScope cleanUp;
        ::close(fd_);
    }

    explicit operator bool() const { return fd_ >= 0; }
    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }

private:
    explicit FileDescriptor(int descriptor) : fd_(descriptor) {}

    int fd_;
};

}  // namespace qm
