#pragma once

#include <chrono>
#include <functional>
#include <vector>

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

/// What `measure` returns in a new process: for code that keeps state for a process's life.
double inNewProcess(const std::function<double()>& measure);

/// Nanoseconds of processor time of a program's whole run, its start included.
double processorNsOfProgram(const std::vector<const char*>& command);

/// Medians of what each of `measures` returns, all by turns and the first round not counted: what disturbs or
/// warms the machine does so to each alike.
std::vector<double> mediansByTurns(int rounds, const std::vector<std::function<double()>>& measures);

/// System calls that `act` makes in a new process.
double systemCallsOf(const std::function<void()>& act);

/// In a mount namespace of its own: nobody's persistent memory is touched.
void enterOwnSharedMemory();
