#include "qm_common/text_file.hpp"

#include "qm_common/file_descriptor.hpp"

#include <array>
#include <cstring>
#include <string_view>

namespace qm {

std::optional<std::string> readFirstLine(const char* path)
{
    const FileDescriptor file(path, O_RDONLY);
    if (!file) return std::nullopt;
    std::string line;
    std::array<char, 256> buffer;
    ssize_t size = 0;
    while ((size = ::read(file.get(), buffer.data(), buffer.size())) > 0) {
        const std::string_view chunk(buffer.data(), static_cast<std::size_t>(size));
        const std::size_t end = chunk.find('\n');
        line += chunk.substr(0, end);
        if (end != std::string_view::npos) break;
    }
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
