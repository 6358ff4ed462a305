#include "qm_common/control_file.hpp"

#include <cerrno>
#include <string>

namespace qm {

bool ControlFile::writeLine(std::string_view value) const
{
    const std::string line = std::string(value) + '\n';
    const ssize_t written = ::write(file_->get(), line.data(), line.size());
    if (written == static_cast<ssize_t>(line.size())) return true;
    if (written >= 0) errno = EIO;  // a short write sets none
    return false;
}

}  // namespace qm
