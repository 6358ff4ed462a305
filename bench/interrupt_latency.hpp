#pragma once

#include "table.hpp"
#include <qm.h>

#include <chrono>

/// Registers of the board.
constexpr std::size_t kRaise = 0x60 / sizeof(uint32_t);
constexpr std::size_t kAcknowledge = 0x64 / sizeof(uint32_t);

constexpr int kSamples = 5000;  // of each side

using Clock = std::chrono::steady_clock;

/// From the write that raises the board's interrupt to the return of the call that waits for it in another,
/// real-time thread: the library's wait and a bare read by turns. Leaves all times in the folder, in
/// microseconds, a line each.
Row interruptLatency(volatile uint32_t* registers, qm_InterruptContext& context, const std::string& folder);
