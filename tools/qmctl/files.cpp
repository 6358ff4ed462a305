#include "files.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <sstream>

namespace fs = std::filesystem;

namespace qmctl::files {

std::optional<std::string> content(const fs::path& path)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return std::nullopt;
    std::string text;
    std::array<char, 65536> part{};
    ssize_t count = 0;
    while ((count = read(file, part.data(), part.size())) > 0)
        text.append(part.data(), static_cast<std::size_t>(count));
    const int error = errno;
    (void)close(file);
    errno = error;
    if (count < 0) return std::nullopt;  // a directory, or an attribute without a value
    return text;
}

std::optional<std::string> firstLine(const fs::path& path)
{
    const auto text = content(path);
    if (!text) return std::nullopt;
    return text->substr(0, text->find('\n'));
}

std::vector<std::string> lines(const fs::path& path)
{
    std::vector<std::string> found;
    std::istringstream text(content(path).value_or(""));
    for (std::string line; std::getline(text, line);)
        found.push_back(line);
    return found;
}

bool present(const fs::path& path)
{
    std::error_code none;
    return fs::exists(fs::symlink_status(path, none));
}

std::vector<std::string> entries(const fs::path& directory)
{
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error))
        names.push_back(entry->path().filename());
    std::sort(names.begin(), names.end(), [](const std::string& left, const std::string& right) {
        return strverscmp(left.c_str(), right.c_str()) < 0;
    });
    return names;
}

std::string linkName(const fs::path& link)
{
    std::error_code none;
    return fs::read_symlink(link, none).filename();
}

}  // namespace qmctl::files
