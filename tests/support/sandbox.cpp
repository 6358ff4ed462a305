#include "sandbox.hpp"

#include <fcntl.h>
#include <sys/mount.h>
#include <system_error>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace fs = std::filesystem;

namespace qm::test::sandbox {

namespace {

constexpr const char* kMarker = "QM_TEST_OWN_NAMESPACE";

/** Runs before main, while the namespaces can still be left: exec ends the sanitizers' threads too. */
[[gnu::constructor]] void enterOwnNamespace(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (std::string(argv[i]) == "--gtest_list_tests") return;
    const char* owner = getenv(kMarker);
    if (owner != nullptr && std::to_string(getpid()) == owner) return;

    std::string self = fs::read_symlink("/proc/self/exe");
    std::vector<const char*> command{"unshare", "--mount"};
    if (geteuid() != 0) command.push_back("--map-root-user");
    command.push_back("--");
    command.push_back(self.c_str());
    command.insert(command.end(), argv + 1, argv + argc + 1);
    (void)setenv(kMarker, std::to_string(getpid()).c_str(), 1);
    (void)execvp(command[0], const_cast<char* const*>(command.data()));
    perror("sandbox: cannot start 'unshare' (package util-linux)");
    _exit(1);
}

void mountOrThrow(const fs::path& source, const fs::path& target, const char* type, unsigned long flags)
{
    if (mount(source.c_str(), target.c_str(), type, flags, nullptr) != 0)
        throw std::system_error(errno, std::generic_category(), "sandbox: mount on " + target.string());
}

std::vector<fs::path>& freshDirectories()
{
    static std::vector<fs::path> directories;
    return directories;
}

void cover(const fs::path& path)
{
    mountOrThrow("tmpfs", path, "tmpfs", MS_NOSUID | MS_NODEV);
    freshDirectories().push_back(path);
}

/** Covers a directory with one of the same entries, so that new ones can be made. */
void coverKeepingEntries(const fs::path& path)
{
    const int old = open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (old < 0) throw std::system_error(errno, std::generic_category(), "sandbox: " + path.string());
    const fs::path before = "/proc/self/fd/" + std::to_string(old);
    cover(path);
    for (const auto& entry : fs::directory_iterator(before / "")) {
        const fs::path target = path / entry.path().filename();
        if (entry.is_symlink()) {
            fs::copy_symlink(entry.path(), target);
            continue;
        }
        if (entry.is_directory())
            fs::create_directory(target);
        else
            std::ofstream{target};
        mountOrThrow(entry.path(), target, nullptr, MS_BIND | MS_REC);
    }
    (void)close(old);
}

bool isBelowFreshDirectory(const fs::path& path)
{
    return std::ranges::any_of(freshDirectories(), [&](const fs::path& fresh) {
        return path.string().starts_with(fresh.string() + "/");
    });
}

}  // namespace

void freshDirectory(const fs::path& path)
{
    if (!fs::exists(path)) {
        fs::path ancestor = path.parent_path();
        while (!fs::exists(ancestor))
            ancestor = ancestor.parent_path();
        if (!isBelowFreshDirectory(ancestor / "entry")) coverKeepingEntries(ancestor);
        fs::create_directories(path);
    }
    cover(path);
}

void writeFile(const fs::path& path, const std::string& content)
{
    if (!isBelowFreshDirectory(path))
        throw std::logic_error("sandbox: " + path.string() + " is not in the sandbox");
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!(file << content << std::flush)) throw std::runtime_error("sandbox: cannot write " + path.string());
}

void writeFiles(const std::vector<std::pair<fs::path, std::string>>& files)
{
    for (const auto& [path, content] : files)
        writeFile(path, content);
}

void sparseFile(const fs::path& path, std::uintmax_t size)
{
    writeFile(path, "");
    fs::resize_file(path, size);
}

std::string readFile(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("sandbox: cannot read " + path.string());
    std::ostringstream content;  // in blocks: some tests read at every instruction of a program
    content << file.rdbuf();
    return content.str();
}

}  // namespace qm::test::sandbox
