// A program's options on their way to posix_spawn, which is taken over here: nothing is started.

#include "input.hpp"

#include <spawn.h>

extern "C" int posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* /*actions*/,
                           const posix_spawnattr_t* /*attributes*/, char* const arguments[],
                           char* const /*environment*/[])
{
    std::size_t count = 0;
    for (; arguments[count] != nullptr; ++count)
        qm::fuzz::require(count == 0 ||
                          (*arguments[count] != '\0' && strchr(arguments[count], ' ') == nullptr));
    qm::fuzz::require(count >= 1 && count <= 19 && strlen(path) < 100 && strcmp(path, arguments[0]) == 0);
    *child = 1;
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    const qm::fuzz::Log log;
    const auto [path, name, options] = qm::fuzz::texts<3>(data, size);
    (void)qm_spawnExecutable(path.c_str(), name.c_str(), options.c_str());
    return 0;
}
