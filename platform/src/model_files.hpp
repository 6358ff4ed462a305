#pragma once

#include <filesystem>
#include <string>

namespace slrealtime {

/** The name of this program. */
std::string programName();

/** The `<dir>` of a model program `<dir>/bin/<model>`; empty for any other program. */
std::filesystem::path modelBaseDir();

/** First line of `<dir>/misc/UUID`; empty when there is none. */
std::string modelUuid();

/** First line of a file, without its line end; empty when it cannot be read. */
std::string firstLine(const std::filesystem::path& file);

/** Replaces `file` by one holding `text`, as a whole or not at all. @throws std::system_error naming the
 * file. */
void replaceFile(const std::filesystem::path& file, const std::string& text);

/** Proves that replaceFile() can work, without touching `file`. @throws std::system_error */
void checkReplaceable(const std::filesystem::path& file);

}  // namespace slrealtime
