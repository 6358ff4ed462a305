#pragma once

#include "log_capture.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace qm::test {

constexpr const char* kMain = "qm_persMem_main";
constexpr off_t kMainEntries = 512, kEntry = 64, kEntryDesc = 56;
constexpr off_t kTotalSize = 4, kNextDesc = 8, kSize = 16, kAddress = 24, kRoot = 32, kFirstFree = 40;
constexpr uint64_t kUnit = 65536;

/** An empty /dev/shm. The test's own process never calls the library: each run of a model is a child of it.
 */
class MemoryWorld : public testing::Test
{
protected:
    MemoryWorld();

    /** A run of a model, up to its end. Its failures are this test's. */
    static void run(const std::function<void(LogCapture& log)>& model);
};

/** Names in /dev/shm, sorted. */
std::vector<std::string> sharedObjects();
std::string pathOf(const std::string& object);

/** Names and bytes of all objects. */
using State = std::map<std::string, std::string>;
State currentState();

/** How many pieces of shared memory this process has mapped. */
size_t sharedMappings();

/** A field of a file in /dev/shm. */
uint64_t peek(const std::string& object, off_t offset, size_t size = 8);
void poke(const std::string& object, off_t offset, uint64_t value, size_t size = 8);

}  // namespace qm::test
