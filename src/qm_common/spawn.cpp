#include <qm/lifecycle.h>
#include <qm/log.h>

#include <spawn.h>
#include <sys/types.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr std::size_t kPathSize = 100;
constexpr char kBlank[] = " ";

/// The program's path, up to 18 words, and null.
using Arguments = std::array<char*, 20>;

struct Free
{
    void operator()(char* text) const { std::free(text); }
};

/// Cuts the options into words behind the program's path.
void addWords(Arguments& arguments, char* options)
{
    std::size_t count = 1;
    char* rest = nullptr;
    for (char* word = ::strtok_r(options, kBlank, &rest); word != nullptr;
         word = ::strtok_r(nullptr, kBlank, &rest)) {
        if (count == arguments.size() - 1) {
            qm_printf(qm_warning,
                      "qm_spawnExecutable(): Too many arguments specified, remaining arguments will be "
                      "ignored\n");
            return;
        }
        arguments[count++] = word;
    }
}

int failToSpawn(int error)
{
    qm_printf(qm_info, "posix_spawn() failed: %s\n", std::strerror(error));
    return -1;
}

}  // namespace

int qm_spawnExecutable(const char* path, const char* executableName, const char* options)
{
    std::array<char, kPathSize> program;
    const int length = std::snprintf(program.data(), program.size(), "%s/%s", path, executableName);
    if (length < 0 || static_cast<std::size_t>(length) >= program.size()) {
        qm_printf(qm_info, "qm_spawnExecutable(): Executable path too long\n");
        return -1;
    }
    const std::unique_ptr<char, Free> words(::strdup(options));
    if (words == nullptr) return failToSpawn(ENOMEM);
    Arguments arguments{program.data()};
    addWords(arguments, words.get());

    pid_t child = -1;
    const int error = ::posix_spawn(&child, program.data(), nullptr, nullptr, arguments.data(), nullptr);
    if (error != 0) return failToSpawn(error);
    qm_printf(qm_debug, "Child pid: %d\n", child);
    return child;
}
