#pragma once

#include "qm_common/file_descriptor.hpp"

#include <optional>
#include <string_view>

namespace qm {

/// A kernel's control file, which takes one value a write. Not a stream: a stream would make a missing file,
/// may hand a value over in pieces, and goes dead after the first value that the kernel refuses.
class ControlFile
{
public:
    /// Closed.
    ControlFile() = default;
    /// Opens for writing; closed and errno when that fails.
    explicit ControlFile(const char* path) : file_(std::in_place, path, O_WRONLY | O_TRUNC) {}

    [[nodiscard]] bool isOpen() const { return file_ && *file_; }
    /// Writes the value and a line break in one piece; false and errno when the kernel does not take it.
    [[nodiscard]] bool writeLine(std::string_view value) const;

private:
    std::optional<FileDescriptor> file_;
};

}  // namespace qm
