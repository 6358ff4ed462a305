#include "memory_world.hpp"

#include "sandbox.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace qm::test {

MemoryWorld::MemoryWorld()
{
    sandbox::freshDirectory("/dev/shm");
}

void MemoryWorld::run(const std::function<void(LogCapture& log)>& model)
{
    const pid_t child = fork();
    if (child == 0) {
        {
            LogCapture log;
            model(log);
        }
        std::exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_EQ(0, status) << "see above, or the run has crashed";
}

std::vector<std::string> sharedObjects()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm"))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::string pathOf(const std::string& object)
{
    return "/dev/shm/" + object;
}

State currentState()
{
    State state;
    for (const auto& object : sharedObjects())
        state[object] = sandbox::readFile(pathOf(object));
    return state;
}

size_t sharedMappings()
{
    std::ifstream maps("/proc/self/maps");
    size_t count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find(" /dev/shm/") == std::string::npos ? 0 : 1;
    return count;
}

uint64_t peek(const std::string& object, off_t offset, size_t size)
{
    uint64_t value = 0;
    const int file = open(pathOf(object).c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(static_cast<ssize_t>(size), pread(file, &value, size, offset)) << object;
    (void)close(file);
    return value;
}

void poke(const std::string& object, off_t offset, uint64_t value, size_t size)
{
    const int file = open(pathOf(object).c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(static_cast<ssize_t>(size), pwrite(file, &value, size, offset)) << object;
    (void)close(file);
}

}  // namespace qm::test
