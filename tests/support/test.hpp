#pragma once

// What every test of the library has at hand.

#include "log_capture.hpp"
#include "process.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

/** For a function of a test program that comes before the C library's, for libqm too. */
#define INTERPOSED extern "C" __attribute__((visibility("default")))

namespace qm::test {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::Pair;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using Lines = std::vector<std::string>;

/** Names the instances of a table of rows with names. */
constexpr auto byName = [](const auto& row) { return std::string(row.param.name); };

/** A test on a faked target: the log, and at its end no descriptor more is open than at its beginning. */
struct TargetTest : testing::Test
{
    void TearDown() override { EXPECT_EQ(descriptors_, openDescriptors()); }
    LogCapture log_;
    Lines descriptors_ = openDescriptors();
};

}  // namespace qm::test
