#ifndef QMCTL_FILES_HPP
#define QMCTL_FILES_HPP

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// What the system's files say. Nothing here throws: a file that cannot be read says nothing.
namespace qmctl::files {

std::optional<std::string> content(const std::filesystem::path& path);

/// Without its line break.
std::optional<std::string> firstLine(const std::filesystem::path& path);

std::vector<std::string> lines(const std::filesystem::path& path);

bool present(const std::filesystem::path& path);

/// Names of a directory's entries, numbers within them in the order of their value.
std::vector<std::string> entries(const std::filesystem::path& directory);

/// Last part of what a link points to; empty without the link.
std::string linkName(const std::filesystem::path& link);

}  // namespace qmctl::files

#endif
