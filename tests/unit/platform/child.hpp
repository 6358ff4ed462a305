#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

namespace test {

/** How a forked child ended, and what it wrote to standard error. */
struct Ended
{
    int status = -1;
    std::string errors = {};

    bool exitedWith(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
    bool diedOf(int signal) const { return WIFSIGNALED(status) && WTERMSIG(status) == signal; }
};

/** Waits until the writing end of `pipe` is closed everywhere, collecting what was written. */
inline std::string readAll(int pipe)
{
    std::string text;
    std::array<char, 4096> part{};
    for (ssize_t n = 0; (n = ::read(pipe, part.data(), part.size())) > 0;)
        text.append(part.data(), static_cast<std::size_t>(n));
    return text;
}

/** Runs `body` in a forked child; its result is the exit status. `first` runs in the parent before it reads.
 */
inline Ended inChild(const std::function<int()>& body, const std::function<void(pid_t)>& first = {})
{
    std::array<int, 2> errors{};
    if (::pipe2(errors.data(), O_CLOEXEC) != 0) return {};
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(errors[1], STDERR_FILENO);
        ::close(errors[0]);
        ::close(errors[1]);
        std::exit(body());  // leak checks and exit handlers run
    }
    ::close(errors[1]);
    if (first) first(child);
    Ended ended;
    ended.errors = readAll(errors[0]);
    ::close(errors[0]);
    ::waitpid(child, &ended.status, 0);
    return ended;
}

/** A folder of its own that goes away with all in it. */
class Folder
{
public:
    Folder() { path_ = ::mkdtemp(name_.data()); }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::string name_ = "/tmp/platform-test-XXXXXX";
    std::filesystem::path path_;
};

inline std::string contents(const std::filesystem::path& file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace test
