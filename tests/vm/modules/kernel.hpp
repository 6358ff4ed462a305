#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

/// The kernel's files as a program without the library sees them.
namespace qm::test {

/// An open file; the test fails when it cannot be opened.
class File
{
public:
    File(const std::filesystem::path& path, int flags);
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    /// 0, or the errno of one write of the whole text. A short write is EIO.
    [[nodiscard]] int write(std::string_view text) const;
    [[nodiscard]] int fd() const { return fd_; }

private:
    int fd_;
};

/// Shared, readable and writable memory of a file; the test fails when it cannot be had.
class Mapping
{
public:
    Mapping(const std::filesystem::path& path, std::size_t length);
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping();

    [[nodiscard]] uint8_t* bytes() const { return static_cast<uint8_t*>(address_); }
    [[nodiscard]] volatile uint32_t& word(std::size_t offset) const;

private:
    void* address_;
    std::size_t length_;
};

/// 0, or the errno of one write to a file opened for it.
int writeOnce(const std::filesystem::path& path, std::string_view text);

std::string contentOf(const std::filesystem::path& path);

/// -1 without one.
pid_t threadNamed(const std::string& name);

}  // namespace qm::test
