#pragma once

#include <string>
#include <vector>

namespace qm::serial {

/// Cuts a text into its runs of digits and of other characters, in order.
std::vector<std::string> splitAlphaNum(const std::string& text);

/// Whether a sorts before b when runs of digits count as numbers: "ttyS2" before "ttyS10". Throws
/// std::out_of_range for a number above 2147483647.
bool doNaturalCompare(const std::string& a, const std::string& b);

}  // namespace qm::serial
