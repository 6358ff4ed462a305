#include "qm_common/text_file.hpp"

#include "qm_common/file_descriptor.hpp"

#include <algorithm>
#include <array>
#include <cstring>

namespace qm {

std::optional<std::string_view> readText(const char* path, std::span<char> buffer)
{
    const FileDescriptor file(path, O_RDONLY);
    if (!file) return std::nullopt;
    const ssize_t size = ::read(file.get(), buffer.data(), buffer.size() - 1);
    if (size < 0) return std::nullopt;
    buffer[static_cast<std::size_t>(size)] = '\0';
    return std::string_view(buffer.data(), static_cast<std::size_t>(size));
}

std::optional<std::string> readWholeText(const char* path)
{
    const FileDescriptor file(path, O_RDONLY);
    if (!file) return std::nullopt;
    std::string text;
    std::array<char, 256> buffer;
    ssize_t size = 0;
    while ((size = ::read(file.get(), buffer.data(), buffer.size())) > 0)
        text.append(buffer.data(), static_cast<std::size_t>(size));
    if (size < 0) return std::nullopt;  // half a text could pass for a whole one
    return text;
}

std::optional<std::string> readFirstLine(const char* path)
{
    auto text = readWholeText(path);
    if (text) text->resize(std::min(text->find('\n'), text->size()));
    return text;
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
