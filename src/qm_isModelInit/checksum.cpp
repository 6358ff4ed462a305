#include "qm_isModelInit/checksum.hpp"

#include "qm_error.hpp"
#include <qm/log.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr char kExecutableLink[] = "/proc/self/exe";
constexpr std::string_view kBinDirectory = "/bin/";

}  // namespace

bool qm::getChecksumPath(ChecksumPath& uuidPath)
{
    std::array<char, kExecutablePathSize> executable;
    const ssize_t length = ::readlink(kExecutableLink, executable.data(), executable.size());
    if (length < 0) {
        setErrorText("Could not find executable path: %s", std::strerror(errno));
        return true;
    }
    const std::string_view path(executable.data(), static_cast<std::size_t>(length));
    const std::size_t bin = path.find(kBinDirectory);
    if (bin == std::string_view::npos) {
        setErrorText("Could not find /bin/ folder in model path");
        return true;
    }
    char* end = std::copy_n(path.data(), bin, uuidPath.data());
    end = std::copy(kChecksumFile.begin(), kChecksumFile.end(), end);
    *end = '\0';
    return false;
}

bool qm::readChecksum(std::FILE* file, ChecksumLine& line)
{
    std::rewind(file);
    line.fill('\0');
    errno = 0;  // the end of a file sets none
    return std::fgets(line.data(), static_cast<int>(line.size()), file) != nullptr;
}

bool qm::readNewChecksum(std::FILE* file, ChecksumLine& line)
{
    if (readChecksum(file, line)) return true;
    qm_printf(qm_debug, "Failed to read new checksum file: %s\n", std::strerror(errno));
    return false;
}

bool qm::compareChecksums(std::FILE* pNew, std::FILE* pOld)
{
    ChecksumLine newLine;
    if (!readNewChecksum(pNew, newLine)) return false;
    ChecksumLine oldLine;
    if (!readChecksum(pOld, oldLine)) {
        qm_printf(qm_debug, "Failed to read old checksum file: %s\n", std::strerror(errno));
        return false;
    }
    const int difference = std::strcmp(newLine.data(), oldLine.data());
    qm_printf(qm_trace, "Checksum comparison returned %d\n", difference);
    return difference == 0;
}
