#pragma once

#include <chrono>
#include <functional>
#include <vector>

/// What has to be measured in a process of its own, because the measured code keeps state for a process's
/// life.

/// Nanoseconds of one `act`, the mean of `times`.
template <typename Act>
double nsPer(int times, Act act)
{
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < times; ++i)
        act(i);
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - begin;
    return took.count() / times;
}

/// Nanoseconds of this process's processor time for one `act`: what another program takes of the machine does
/// not count.
double processorNsOf(const std::function<void()>& act);

/// Ends the process, with a message, when something that is measured has failed.
void require(bool works, const char* what);

/// What `measure` returns in a new process.
double inNewProcess(const std::function<double()>& measure);

/// Median of what `measure` returns in `runs` new processes.
double medianOfProcesses(int runs, const std::function<double()>& measure);

/// Median of the nanoseconds of processor time that a program's whole run takes, its start included.
double processorNsOfProgram(int runs, const std::vector<const char*>& command);

/// System calls that `act` makes in a new process.
double systemCallsOf(const std::function<void()>& act);

/// System calls of a program's whole run.
double systemCallsOfProgram(const std::vector<const char*>& command);

/// In a mount namespace of its own: nobody's persistent memory is touched.
void enterOwnSharedMemory();
