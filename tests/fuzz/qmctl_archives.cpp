// Somebody else's report as an archive: a tar file, whose checksums are set right and which is compressed
// here, or a compressed one. What is unpacked stays in its place and can be read without an end.

#include "input.hpp"
#include "opened_report.hpp"
#include "report_tree.hpp"

namespace {

namespace fs = std::filesystem;

constexpr const char* kWorld = "/dev/shm";
const fs::path kPlace = "/dev/shm/place";
constexpr const char* kVictim = "/dev/shm/victim";
constexpr std::size_t kBlock = 512;
constexpr std::size_t kChecksum = 148;  // of a header: six octal digits, a null byte and a blank
constexpr std::size_t kMagic = 257;

/// Every block that is a header by its magic gets the checksum that it should have.
std::string withChecksums(std::string tar)
{
    tar.resize((tar.size() + kBlock - 1) / kBlock * kBlock);
    for (std::size_t begin = 0; begin < tar.size(); begin += kBlock) {
        if (tar.compare(begin + kMagic, 5, "ustar") != 0) continue;
        tar.replace(begin + kChecksum, 8, 8, ' ');
        const unsigned sum = std::accumulate(tar.begin() + static_cast<long>(begin),
                                             tar.begin() + static_cast<long>(begin + kBlock), 0U,
                                             [](unsigned all, unsigned char byte) { return all + byte; });
        (void)std::snprintf(&tar[begin + kChecksum], 8, "%06o", sum);
    }
    return tar;
}

uint32_t checksumOfGzip(const std::string& bytes)
{
    uint32_t sum = ~0U;
    for (const char byte : bytes) {
        sum ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            sum = sum >> 1 ^ ((sum & 1U) != 0 ? 0xEDB88320U : 0U);
    }
    return ~sum;
}

std::string littleEndian(std::size_t value, std::size_t bytes)
{
    return {reinterpret_cast<const char*>(&value), bytes};
}

/// As one block that is stored as it is.
std::string gzip(const std::string& bytes)
{
    return std::string("\x1F\x8B\x08\0\0\0\0\0\0\xFF\x01", 11) + littleEndian(bytes.size(), 2) +
           littleEndian(~bytes.size(), 2) + bytes + littleEndian(checksumOfGzip(bytes), 4) +
           littleEndian(bytes.size(), 4);
}

int memoryFile(const std::string& content)
{
    const int file = memfd_create("archive", MFD_CLOEXEC);
    qm::fuzz::require(write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
    qm::fuzz::require(lseek(file, 0, SEEK_SET) == 0);
    return file;
}

void requireNothingOutside()
{
    const auto count = std::distance(fs::directory_iterator(kWorld), fs::directory_iterator());
    qm::fuzz::require(count == 2 && qm::test::sandbox::readFile(kVictim) == "untouched");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static const bool entered =
        (qm::test::sandbox::freshDirectory(kWorld), qm::test::sandbox::writeFile(kVictim, "untouched"), true);
    qm::fuzz::require(entered);
    fs::remove_all(kPlace);
    fs::create_directories(kPlace);
    const std::string input(reinterpret_cast<const char*>(data), size);
    const int archive = memoryFile(input.starts_with("\x1F\x8B") ? input : gzip(withChecksums(input)));
    const auto report = qmctl::unpackReport(archive, kPlace);
    (void)close(archive);
    requireNothingOutside();
    if (!report) return 0;
    try {
        qmctl::restoreBinaries(*report);
        for (const auto& entry : fs::recursive_directory_iterator(*report))
            qm::fuzz::require(entry.is_symlink() || entry.is_directory() || entry.is_regular_file());
    } catch (const std::exception&) {
        // opening the report ends here
    }
    requireNothingOutside();
    return 0;
}
