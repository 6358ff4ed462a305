#include "process.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <iostream>

namespace qm::test {

namespace {

void flushAll()
{
    (void)fflush(nullptr);
    std::cout.flush();
}

}  // namespace

std::vector<std::string> openDescriptors()
{
    std::vector<std::string> found;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (!target.string().starts_with("/proc/"))
            found.push_back(entry.path().filename() / target.relative_path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

StreamCapture::StreamCapture(int stream) : stream_(stream)
{
    flushAll();
    saved_ = fcntl(stream, F_DUPFD_CLOEXEC, 0);
    file_ = memfd_create("captured", MFD_CLOEXEC);
    (void)dup2(file_, stream);
}

StreamCapture::~StreamCapture()
{
    restore();
}

std::string StreamCapture::text()
{
    flushAll();
    std::string text;
    std::array<char, 4096> piece{};
    for (ssize_t got = 0;
         (got = pread(file_, piece.data(), piece.size(), static_cast<off_t>(text.size()))) > 0;)
        text.append(piece.data(), static_cast<size_t>(got));
    restore();
    return text;
}

void StreamCapture::restore()
{
    if (saved_ < 0) return;
    flushAll();
    (void)dup2(saved_, stream_);
    (void)close(saved_);
    (void)close(file_);
    saved_ = -1;
}

}  // namespace qm::test
