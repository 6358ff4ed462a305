#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace qm {

/// Beginning of a file's text, cut to the buffer and terminated there; nothing and errno when the file cannot
/// be read.
std::optional<std::string_view> readText(const char* path, std::span<char> buffer);

/// A text file as a whole; nothing and errno when it cannot be read.
std::optional<std::string> readWholeText(const char* path);

/// First line of a text file without its "\n"; nothing and errno when the file cannot be read.
std::optional<std::string> readFirstLine(const char* path);

/// Writes a text to a kernel attribute in one piece. False and errno when the file cannot be opened; what the
/// kernel says of the text itself is not looked at.
bool writeAttribute(const char* path, const char* text);

}  // namespace qm
