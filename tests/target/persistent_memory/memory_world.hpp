#pragma once

#include "test.hpp"

namespace qm::test {

constexpr const char* kMain = "qm_persMem_main";
constexpr off_t kMainEntries = 512, kEntry = 64, kEntryDesc = 56;
constexpr off_t kTotalSize = 4, kNextDesc = 8, kSize = 16, kAddress = 24, kRoot = 32, kFirstFree = 40;
constexpr uint64_t kUnit = 65536;

/** An empty /dev/shm. The test's own process never calls the library: each run of a model is a child of it.
 */
struct MemoryWorld : testing::Test
{
    MemoryWorld() { sandbox::freshDirectory("/dev/shm"); }

    /** A run of a model, up to its end. Its failures are this test's. */
    static void run(const std::function<void(LogCapture& log)>& model)
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
};

inline std::string pathOf(const std::string& object)
{
    return "/dev/shm/" + object;
}

/** Names and bytes of all objects. */
using State = std::map<std::string, std::string>;
inline State currentState()
{
    State state;
    for (const auto& entry : fs::directory_iterator("/dev/shm"))
        state[entry.path().filename()] = sandbox::readFile(entry.path());
    return state;
}

/** Names in /dev/shm, sorted. */
inline Lines sharedObjects()
{
    Lines names;
    for (const auto& entry : fs::directory_iterator("/dev/shm"))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

/** How many pieces of shared memory this process has mapped. */
inline size_t sharedMappings()
{
    std::ifstream maps("/proc/self/maps");
    size_t count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find(" /dev/shm/") == std::string::npos ? 0 : 1;
    return count;
}

/** A field of a file in /dev/shm. */
inline uint64_t peek(const std::string& object, off_t offset, size_t size = 8)
{
    uint64_t value = 0;
    const int file = open(pathOf(object).c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(static_cast<ssize_t>(size), pread(file, &value, size, offset)) << object;
    (void)close(file);
    return value;
}

inline void poke(const std::string& object, off_t offset, uint64_t value, size_t size = 8)
{
    const int file = open(pathOf(object).c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(static_cast<ssize_t>(size), pwrite(file, &value, size, offset)) << object;
    (void)close(file);
}

}  // namespace qm::test
