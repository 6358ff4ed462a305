#include "qm_common/text_file.hpp"

#include "qm_common/file_descriptor.hpp"

#include <cstring>
#include <fstream>

namespace qm {

std::optional<std::string> readFirstLine(const char* path)
{
    std::ifstream file(path);
    if (!file) return std::nullopt;
    std::string line;
    std::getline(file, line);
    return line;
}

bool writeAttribute(const char* path, const char* text)
{
    // Write-only: most attributes of drivers refuse to be opened for reading, even to root.
    const FileDescriptor file(path, O_WRONLY | O_TRUNC);
    if (!file) return false;
    const ErrnoKeeper kept;
    (void)!::write(file.get(), text, std::strlen(text));
    return true;
}

}  // namespace qm
