#include "kernel.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

namespace qm::test {

File::File(const std::filesystem::path& path, int flags) : fd_(::open(path.c_str(), flags | O_CLOEXEC))
{
    EXPECT_NE(-1, fd_) << path << ": " << std::strerror(errno);
}

File::~File()
{
    if (fd_ != -1) ::close(fd_);
}

int File::write(std::string_view text) const
{
    const ssize_t written = ::write(fd_, text.data(), text.size());
    if (written == -1) return errno;
    return static_cast<std::size_t>(written) == text.size() ? 0 : EIO;
}

Mapping::Mapping(const std::filesystem::path& path, std::size_t length) : length_(length)
{
    const File file(path, O_RDWR | O_SYNC);
    address_ = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, file.fd(), 0);
    if (address_ == MAP_FAILED)
        throw std::filesystem::filesystem_error("mmap", path, {errno, std::generic_category()});
}

Mapping::~Mapping()
{
    ::munmap(address_, length_);
}

volatile uint32_t& Mapping::word(std::size_t offset) const
{
    return *reinterpret_cast<volatile uint32_t*>(bytes() + offset);
}

int writeOnce(const std::filesystem::path& path, std::string_view text)
{
    const File file(path, O_WRONLY | O_TRUNC);
    return file.write(text);
}

std::string contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

pid_t threadNamed(const std::string& name)
{
    for (const auto& process : std::filesystem::directory_iterator("/proc")) {
        const auto comm = process.path() / "comm";
        if (std::filesystem::exists(comm) && contentOf(comm) == name + "\n")
            return std::stoi(process.path().filename());
    }
    return -1;
}

}  // namespace qm::test
