#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

/**
 * Another world for the process under test: empty directories over the paths that the library knows.
 *
 * A program that uses these functions starts, before its main, once more in a mount namespace of its own
 * (with a user namespace in which it is root, when it is not root already); the world ends with the process.
 * Where namespaces are refused the program ends with the refusal's text.
 */
namespace qm::test::sandbox {

/**
 * Puts an empty directory over this absolute path. Where the path does not exist, its nearest existing
 * ancestor is covered too, by a copy with the same entries.
 */
void freshDirectory(const std::filesystem::path& path);

/** Writes a file below a fresh directory, with the directories on its way. */
void writeFile(const std::filesystem::path& path, const std::string& content);

void writeFiles(const std::vector<std::pair<std::filesystem::path, std::string>>& files);

/** Makes a file of this size full of holes below a fresh directory. */
void sparseFile(const std::filesystem::path& path, std::uintmax_t size);

std::string readFile(const std::filesystem::path& path);

}  // namespace qm::test::sandbox
