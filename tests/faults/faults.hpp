#pragma once

#include "test.hpp"

namespace qm::test {

constexpr int kShort = -1;  // in place of an errno: a transfer of fewer bytes than asked for

/** The one call that was made to fail. */
struct Call
{
    char name[64];  // "module:function"
    int error;      // errno, or kShort
    int step;       // of the scenario; -1: no call has failed
};

/** What the interposed functions do: count the ways to fail, and fail in one of them. */
struct Interposer
{
    bool armed = false;
    bool paused = false;  // while a line is logged
    int step = 0;
    long count = 0;    // each call counts once for each of its errors
    long failAt = -1;  // -1: none
    Call* hit = nullptr;
    char* direct = nullptr;  // set by count to 1 where the library itself makes the call
};

/** Of the main thread. */
inline thread_local Interposer interposer;

/** What a failed step tells of the reason. */
enum Reason : unsigned
{
    kNone = 0,
    kErrno = 1,     // errno
    kNegative = 2,  // the result is -errno
    kText = 4,      // its text in pQmErrorStr
    kLog = 8,       // its text in a log line
    kLogged = 16,   // there is a log line of warning or error, and no other report
    kThrows = 32,   // std::bad_alloc may be thrown
    kSays = 64,     // some log line, of information or above
};

/** One call of the library; 0 or true for success. */
struct Step
{
    const char* name;
    unsigned reason;
    std::function<long()> act;  // 0: success
};

struct Scenario
{
    const char* name;
    std::function<void()> furnish;  // makes the world, in a mount namespace of its own
    std::vector<Step> steps;
};

// A step's name, what a failure tells of its reason, and the call: its result, or whether it succeeded.
#define RESULT(name, reason, ...)                          \
    Step                                                   \
    {                                                      \
        name, reason, []() -> long { return __VA_ARGS__; } \
    }
#define SUCCESS(name, reason, ...)                                   \
    Step                                                             \
    {                                                                \
        name, reason, []() -> long { return (__VA_ARGS__) ? 0 : 1; } \
    }
#define MADE(variable, ...) ((variable) = (__VA_ARGS__)) != nullptr

std::vector<Scenario> deviceScenarios();
std::vector<Scenario> processScenarios();

}  // namespace qm::test
