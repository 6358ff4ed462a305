#pragma once

#include <cstddef>
#include <memory>
#include <thread>

namespace slrealtime {

/**
 * While one of these lives, a crash (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT) writes out the log's queues
 * before it takes its course: exit status and core dump are those of the crash.
 */
class CrashFlush
{
public:
    CrashFlush();
    ~CrashFlush();
    CrashFlush(const CrashFlush&) = delete;
    CrashFlush& operator=(const CrashFlush&) = delete;

private:
    std::thread helper_;
};

/** A stack for the calling thread's signal handlers, so that a stack overflow can be handled too. */
class SignalStack
{
public:
    SignalStack();
    ~SignalStack();
    SignalStack(const SignalStack&) = delete;
    SignalStack& operator=(const SignalStack&) = delete;

private:
    std::unique_ptr<std::byte[]> memory_;
};

}  // namespace slrealtime
