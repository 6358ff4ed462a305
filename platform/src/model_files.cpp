#include "model_files.hpp"

#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string_view>

namespace slrealtime {

namespace {

/** A file beside `file` that takes its place when all is written and goes away otherwise. */
class Replacement
{
public:
    explicit Replacement(const std::filesystem::path& file)
        : file_(file),
          temporary_(file.string() + ".new-" + std::to_string(::getpid())),
          descriptor_(::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644))
    {
        if (descriptor_ < 0) fail();
    }
    ~Replacement()
    {
        if (descriptor_ < 0) return;
        ::close(descriptor_);
        ::unlink(temporary_.c_str());
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    void write(std::string_view text) const
    {
        while (!text.empty()) {
            const auto done = ::write(descriptor_, text.data(), text.size());
            if (done < 0 && errno == EINTR) continue;
            if (done < 0) fail();
            text.remove_prefix(static_cast<std::size_t>(done));
        }
    }

    void take() const
    {
        if (::fsync(descriptor_) != 0 || ::rename(temporary_.c_str(), file_.c_str()) != 0) fail();
    }

private:
    [[noreturn]] void fail() const
    {
        throw std::system_error(errno, std::generic_category(), file_.string());
    }

    std::filesystem::path file_;
    std::string temporary_;
    int descriptor_;
};

std::filesystem::path executable()
{
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored);
}

}  // namespace

std::string programName()
{
    return executable().filename().string();
}

std::filesystem::path modelBaseDir()
{
    const auto program = executable().string();
    const auto bin = program.find("/bin/");
    return bin == std::string::npos ? std::filesystem::path() : std::filesystem::path(program.substr(0, bin));
}

std::string modelUuid()
{
    const auto base = modelBaseDir();
    return base.empty() ? std::string() : firstLine(base / "misc" / "UUID");
}

std::string firstLine(const std::filesystem::path& file)
{
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

void replaceFile(const std::filesystem::path& file, const std::string& text)
{
    const Replacement replacement(file);
    replacement.write(text);
    replacement.take();
}

void checkReplaceable(const std::filesystem::path& file)
{
    if (std::filesystem::is_directory(file))
        throw std::system_error(EISDIR, std::generic_category(), file.string());
    const Replacement proof(file);
}

}  // namespace slrealtime
