#pragma once

#include <optional>
#include <string>

namespace qm {

/// First line of a text file without its "\n"; nothing when the file cannot be opened.
std::optional<std::string> readFirstLine(const char* path);

/// Writes a text to a kernel attribute in one piece. False and errno when the file cannot be opened; what the
/// kernel says of the text itself is not looked at.
bool writeAttribute(const char* path, const char* text);

}  // namespace qm
